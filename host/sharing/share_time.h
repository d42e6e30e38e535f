// ShareTime: the two clocks that sharing uses: the wall clock for what people mean ("today", the month), and the boot
// clock, which nobody can set, for waits. The caller reads both. Value types and functions without state; any thread.
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

// Returns the date of time in this machine's current time zone.
std::chrono::local_days LocalDayOf(WallTime time);
// Returns when that day begins in this machine's current time zone.
std::chrono::sys_seconds BeginningOf(std::chrono::local_days day);

}  // namespace Vexo::Host
