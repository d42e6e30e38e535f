#include "platform/base/clock.h"

#include <ctime>

#include "platform/base/never_destroyed.h"

namespace Vexo {
namespace {

class SystemClock : public Clock {
public:
    SteadyTime Now() const override { return std::chrono::steady_clock::now(); }
    SteadyTime BootNow() const override
    {
        timespec now{};
        static_cast<void>(::clock_gettime(CLOCK_BOOTTIME, &now));
        return SteadyTime(std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec));
    }
    WallTime WallNow() const override { return std::chrono::system_clock::now(); }
};

}  // namespace

const Clock& Clock::System()
{
    static NeverDestroyed<SystemClock> clock;
    return clock.value;
}

}  // namespace Vexo
