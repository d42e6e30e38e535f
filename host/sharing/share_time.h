// ShareTime: the two clocks that sharing uses. The wall clock is for calendar dates, such as "today" or "this month".
// The boot clock, which nobody can set, is for waits. The caller reads both clocks. Any thread may use the value types
// and functions, which keep no state.
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

// Returns the local date at the given time, in this machine's current time zone.
std::chrono::local_days LocalDayOf(WallTime time);
// Returns the time when the given day begins in this machine's current time zone.
std::chrono::sys_seconds BeginningOf(std::chrono::local_days day);

}  // namespace Vexo::Host
