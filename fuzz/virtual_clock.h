#pragma once

#include <QtGlobal>

/// The monotonic clock of the process, which passes only when it is told to: minutes of a network's
/// life fit into a microsecond, and an input takes the same course each time. Qt's timers and
/// QElapsedTimer go by it.
namespace VirtualClock
{

/// From here on the clock is a virtual one. It never goes back.
void take();

void advance(qint64 ms);

qint64 now();

} // namespace VirtualClock
