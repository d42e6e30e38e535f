#include "distributed/services/utils/ffrt_utils.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <limits>
#include <memory>

#include "tests/support/log_capture.h"

namespace Vexo::NetManagerStandard {
namespace {

using Tests::WAIT_LIMIT;

TEST(FfrtUtilsTest, TimeLimitReportsCompletionWithoutStoppingTask)
{
    EXPECT_TRUE(FFRTUtils::SubmitTimeoutTask([] {}, 20000));
    for (const uint32_t timeoutMs : {0U, 20U}) {
        std::promise<void> gate;
        const auto ran = std::make_shared<std::promise<void>>();
        EXPECT_FALSE(FFRTUtils::SubmitTimeoutTask(
            [opened = gate.get_future().share(), ran] {
                opened.wait();
                ran->set_value();
            },
            timeoutMs));
        gate.set_value();
        EXPECT_EQ(ran->get_future().wait_for(WAIT_LIMIT), std::future_status::ready) << timeoutMs;
    }
}

TEST(FfrtUtilsTest, QueueRunsInOrderAndDelayedTaskCanBeCancelled)
{
    ffrt::queue queue("test");
    std::vector<int> order;
    std::promise<void> last;
    std::function<void()> never = [&] { order.push_back(-1); };

    ffrt::task_handle delayed = FFRTUtils::SubmitDelayTask(never, std::numeric_limits<uint32_t>::max(), queue);
    FFRTUtils::SubmitQueueTasks({[&] { order.push_back(1); }, [&] { last.set_value(); }}, queue);

    ASSERT_EQ(last.get_future().wait_for(WAIT_LIMIT), std::future_status::ready);
    EXPECT_EQ(order, std::vector<int>{1});
    EXPECT_EQ(FFRTUtils::CancelTask(delayed, queue), 0);
    EXPECT_EQ(FFRTUtils::CancelTask(delayed, queue), 1);
}

TEST(FfrtUtilsTest, DestroyedLocksDoNotBlock)
{
    struct Locks {
        FFRTUtils::Mutex mutex;
        FFRTUtils::ConditionVariable condition;
    };
    alignas(Locks) std::byte storage[sizeof(Locks)];
    auto& [mutex, condition] = *new (storage) Locks;
    EXPECT_TRUE(mutex.TryLock());
    std::destroy_at(reinterpret_cast<Locks*>(storage));
    mutex.Lock();  // must not block, because a destroyed mutex no longer uses its lock
    EXPECT_FALSE(mutex.TryLock());
    mutex.Unlock();
    condition.NotifyAll();
}

}  // namespace
}  // namespace Vexo::NetManagerStandard
