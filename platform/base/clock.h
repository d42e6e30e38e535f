// Clock: the source of time. A class that depends on the time receives a Clock, so that a test can advance the time
// (tests/support/manual_timers.h). Clock::System() is this machine's clock. Any thread. No call blocks.
#pragma once

#include <chrono>
#include <string>

namespace Vexo {

using SteadyTime = std::chrono::steady_clock::time_point;
using WallTime = std::chrono::system_clock::time_point;

class Clock {
public:
    virtual ~Clock() = default;

    // Monotonic time, for durations and deadlines. Nobody can set it. It does not advance while the machine is
    // suspended.
    virtual SteadyTime Now() const = 0;
    // As Now, but also advances during a suspend (clock_gettime(2), CLOCK_BOOTTIME). Times of Now and BootNow must not
    // be mixed.
    virtual SteadyTime BootNow() const { return Now(); }
    // Calendar time, for dates. A person or a time server may set it at any moment, also backwards.
    virtual WallTime WallNow() const = 0;

    // Returns this machine's clock, which is never destroyed.
    static const Clock& System();

protected:
    Clock() = default;
    Clock(const Clock&) = default;
    Clock& operator=(const Clock&) = default;
};

// Returns the date in UTC, such as "2036-11-18".
std::string DateOf(WallTime time);

}  // namespace Vexo
