// Clock: the source of time. A class that depends on the time receives a Clock, so that a test can advance the time
// (tests/support/manual_timers.h). Clock::System() is this machine's clock. Any thread may call the functions. No call
// blocks.
#pragma once

#include <chrono>
#include <string>

namespace Vexo {

using SteadyTime = std::chrono::steady_clock::time_point;
using WallTime = std::chrono::system_clock::time_point;

class Clock {
public:
    virtual ~Clock() = default;

    // Returns monotonic time, for durations and deadlines. This time cannot be set, and does not advance while the
    // machine is suspended.
    virtual SteadyTime Now() const = 0;
    // Returns monotonic time that also advances while the machine is suspended (clock_gettime(2), CLOCK_BOOTTIME). Do
    // not compare times from Now with times from BootNow: they differ by the time for which the machine was suspended.
    virtual SteadyTime BootNow() const { return Now(); }
    // Returns calendar time, for dates. A person or a time server may set this time at any moment, also backwards.
    virtual WallTime WallNow() const = 0;

    // Returns this machine's clock, which is never destroyed.
    static const Clock& System();

protected:
    Clock() = default;
    Clock(const Clock&) = default;
    Clock& operator=(const Clock&) = default;
};

// Returns the date in UTC as text, such as "2036-11-18".
std::string DateOf(WallTime time);

}  // namespace Vexo
