#pragma once

/// Gives the application its icon and its dark style sheet. The QApplication has to exist. Without
/// the style sheet the program keeps the toolkit's plain look.
void applyAppTheme();
