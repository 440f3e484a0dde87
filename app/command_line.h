#pragma once

#include <QList>

class QCommandLineOption;
class QCommandLineParser;

namespace Sondrix
{

/// Whether one of the raw arguments behind the program's name is name itself, or name followed by
/// an equals sign. Bytes are compared, case included.
bool hasArgument(int argc, const char *const *argv, const char *name);

/// Whether the raw arguments ask for a run without windows: --headless, --scan-once or --json. It
/// is asked before an application object exists, because the two kinds of run build different ones.
bool isConsoleInvocation(int argc, const char *const *argv);

/// The program's own options, in the order in which help lists them.
QList<QCommandLineOption> commandLineOptions();

/// Gives the parser its description, help, version and all options of the program.
void configureParser(QCommandLineParser &parser);

} // namespace Sondrix
