#include "platform/tasks/timers.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "tests/platform/tasks/signals.h"

namespace Vexo::Tasks {
namespace {

using namespace std::chrono_literals;

TEST(TimersTest, WorkRunsInTheOrderOfItsDeadlinesAndNeverEarly)
{
    Tests::Trail<int> order;
    ElasticPool pool("one", 1);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_NE(RunAfter(
                  400ms, [&] { order.Add(400); }, pool),
              0U);
    EXPECT_EQ(RunAfter(
                  0ms, [&] { order.Add(0); }, pool),
              0U);  // no timer is needed
    EXPECT_NE(RunAfter(
                  1ms, [&] { order.Add(1); }, pool),
              0U);
    EXPECT_EQ(order.WaitFor(3), (std::vector<int>{0, 1, 400}));
    EXPECT_GE(std::chrono::steady_clock::now() - start, 400ms);
}

TEST(TimersTest, EachTimerEitherRunsOrIsCancelledOnce)
{
    constexpr size_t COUNT = 500;
    Tests::Trail<int> ran;
    std::vector<TimerId> timers{0, RunAfter(std::chrono::microseconds::max(), [&] { ran.Add(0); })};
    for (size_t i = 0; i < COUNT - 1; ++i) {
        timers.push_back(RunAfter(std::chrono::microseconds(1 + i * 20), [&] { ran.Add(0); }));
    }
    size_t cancelled = 0;
    for (auto timer = timers.rbegin(); timer != timers.rend(); ++timer) {
        cancelled += CancelTimer(*timer) ? 1 : 0;
    }
    EXPECT_FALSE(CancelTimer(timers[1]));
    EXPECT_EQ(ran.WaitFor(COUNT - cancelled).size(), COUNT - cancelled);
}

}  // namespace
}  // namespace Vexo::Tasks
