// Clock: where the time comes from. What decides by the time is given one, so that a test advances it
// (tests/support/manual_timers.h). Clock::System() is this machine's. Any thread. No call blocks.
#pragma once

#include <chrono>
#include <string>

namespace Vexo {

using SteadyTime = std::chrono::steady_clock::time_point;
using WallTime = std::chrono::system_clock::time_point;

class Clock {
public:
    virtual ~Clock() = default;

    // For durations and deadlines: it cannot be set. Stands still while the machine is suspended.
    virtual SteadyTime Now() const = 0;
    // The same, but goes on during a suspend (clock_gettime(2), CLOCK_BOOTTIME). Not to be mixed with Now.
    virtual SteadyTime BootNow() const { return Now(); }
    // For dates: a person or a time server may set it at any moment, also back.
    virtual WallTime WallNow() const = 0;

    // Lives to the end of the process.
    static const Clock& System();

protected:
    Clock() = default;
    Clock(const Clock&) = default;
    Clock& operator=(const Clock&) = default;
};

// "2036-11-18", UTC. Any thread.
std::string DateOf(WallTime time);

}  // namespace Vexo
