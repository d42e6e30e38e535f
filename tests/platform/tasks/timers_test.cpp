#include "platform/tasks/timers.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/manual_timers.h"
#include "tests/support/trail.h"

namespace Vexo::Tasks {
namespace {

using std::chrono::milliseconds;
using Tests::ManualTimers;
using Tests::Trail;

TEST(TimersTest, CancelledReplacedOrDestroyedTimerDoesNotFire)
{
    ManualTimers timers;
    std::vector<std::string> ran;
    const auto arm = [&](const char* name) {
        return timers.RunAfter(milliseconds(1), [&ran, name] { ran.emplace_back(name); });
    };
    Timer cancelled = arm("cancelled");
    EXPECT_TRUE(cancelled.Cancel());
    EXPECT_FALSE(cancelled.IsArmed());
    EXPECT_FALSE(cancelled.Cancel());
    Timer replaced = arm("replaced");
    replaced = arm("replacement");
    Timer moved = std::move(replaced);
    {
        const Timer destroyed = arm("destroyed");
    }
    arm("detached").Detach();
    timers.Advance(milliseconds(1));
    EXPECT_EQ(ran, (std::vector<std::string>{"replacement", "detached"}));
    EXPECT_TRUE(moved.IsArmed());
    EXPECT_FALSE(moved.Cancel());
}

TEST(TimersTest, SystemTimersFireOnTimeCancelAndAcceptHugeDelay)
{
    Timers& timers = Timers::System();
    Trail<SteadyTime> fired;
    Timer never = timers.RunAfter(std::chrono::microseconds::max(), [&] { fired.Add({}); });
    Timer far = timers.RunAfter(milliseconds(60'000), [&] { fired.Add({}); });
    for (size_t count = 1; count <= 3; ++count) {  // In the meantime, the timer thread waits for a later timer.
        const SteadyTime armed = timers.Now();
        Timer near = timers.RunAfter(milliseconds(5), [&] { fired.Add(timers.Now()); });
        const std::vector<SteadyTime> times = fired.WaitFor(count);
        ASSERT_EQ(times.size(), count);
        EXPECT_GE(times.back() - armed, milliseconds(5));
    }
    EXPECT_TRUE(far.Cancel());
    EXPECT_TRUE(never.Cancel());
}

}  // namespace
}  // namespace Vexo::Tasks
