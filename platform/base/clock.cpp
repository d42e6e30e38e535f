#include "platform/base/clock.h"

#include <array>
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

std::string DateOf(WallTime time)
{
    const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    std::array<char, 16> text{};
    (void)std::strftime(text.data(), text.size(), "%Y-%m-%d", &parts);
    return text.data();
}

}  // namespace Vexo
