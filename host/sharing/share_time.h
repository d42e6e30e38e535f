// ShareTime: the time as sharing uses it: a date by which people decide ("today", the month), and a clock that nobody
// can set, by which waits run. Both are given in by the caller. Value types and functions without state; any thread.
#pragma once

#include <chrono>

#include "platform/base/clock.h"

namespace Vexo::Host {

struct ShareTime {
    SteadyTime boot;  // Clock::BootNow
    WallTime wall;
};

inline std::chrono::sys_seconds SecondsOf(WallTime time)
{
    return std::chrono::floor<std::chrono::seconds>(time);
}

// The day at that time in this machine's time zone, as it is set now.
std::chrono::local_days LocalDayOf(WallTime time);
// When that day begins.
std::chrono::sys_seconds BeginningOf(std::chrono::local_days day);

}  // namespace Vexo::Host
