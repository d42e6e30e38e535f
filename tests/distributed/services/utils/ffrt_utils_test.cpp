#include "distributed/services/utils/ffrt_utils.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <limits>
#include <new>
#include <thread>

#include "tests/support/log_capture.h"

namespace Vexo::NetManagerStandard {
namespace {

using Tests::WAIT_LIMIT;

// An object whose destructor a test calls itself.
template <typename T>
union Undestroyed {
    Undestroyed() : object() {}
    ~Undestroyed() {}  // NOLINT(modernize-use-equals-default): a union with such a member has no default one
    T object;
};

TEST(FfrtUtilsTest, SyncSubmissionAlsoWaitsForWhatItsContextSubmittedBefore)
{
    std::promise<void> gate;
    const auto opened = gate.get_future().share();
    std::atomic<int> finished{0};
    FFRTUtils::SubmitTask([&] {
        opened.wait();
        ++finished;
    });
    std::thread opener([&] { gate.set_value(); });
    FFRTUtils::SubmitTaskSync([&] { ++finished; });
    EXPECT_EQ(finished, 2);
    opener.join();
}

TEST(FfrtUtilsTest, TimeLimitReportsWhetherTheTaskFinishedAndNeverStopsIt)
{
    struct Case {
        uint32_t timeoutMs;
        bool blocks;
        bool expected;
    };
    for (const Case& c : {Case{0, true, false}, Case{20, true, false}, Case{20000, false, true}}) {
        const auto gate = std::make_shared<std::promise<void>>();
        const auto ran = std::make_shared<std::promise<void>>();
        auto done = ran->get_future();
        if (!c.blocks) {
            gate->set_value();
        }
        EXPECT_EQ(FFRTUtils::SubmitTimeoutTask(
                      [opened = gate->get_future().share(), ran] {
                          opened.wait();
                          ran->set_value();
                      },
                      c.timeoutMs),
                  c.expected)
            << c.timeoutMs;
        if (c.blocks) {
            gate->set_value();
        }
        EXPECT_EQ(done.wait_for(WAIT_LIMIT), std::future_status::ready) << c.timeoutMs;
    }
}

TEST(FfrtUtilsTest, QueueRunsItsTasksInOrderAndADelayedOneCanBeCancelled)
{
    ffrt::queue queue("test");
    std::vector<int> order;
    std::promise<void> last;
    std::function<void()> never = [&] { order.push_back(-1); };
    std::function<void()> end = [&] { last.set_value(); };

    FFRTUtils::SubmitQueueTasks({}, queue);
    ffrt::task_handle delayed = FFRTUtils::SubmitDelayTask(never, std::numeric_limits<uint32_t>::max(), queue);
    FFRTUtils::SubmitQueueTasks({[&] { order.push_back(1); }, [&] { order.push_back(2); }}, queue);
    ASSERT_NE(FFRTUtils::SubmitDelayTask(end, 0, queue), nullptr);

    ASSERT_EQ(last.get_future().wait_for(WAIT_LIMIT), std::future_status::ready);
    EXPECT_EQ(order, (std::vector<int>{1, 2}));
    EXPECT_EQ(FFRTUtils::CancelTask(delayed, queue), 0);
    EXPECT_EQ(FFRTUtils::CancelTask(delayed, queue), 1);
}

TEST(FfrtUtilsTest, MutexExcludesOtherThreadsAndDoesNothingOnceDestroyed)
{
    Undestroyed<FFRTUtils::Mutex> storage;
    const auto tryElsewhere = [&] {
        return std::async(std::launch::async,
                          [&] {
                              const bool taken = storage.object.TryLock();
                              if (taken) {
                                  storage.object.Unlock();
                              }
                              return taken;
                          })
            .get();
    };
    storage.object.Lock();
    EXPECT_FALSE(tryElsewhere());
    storage.object.Unlock();
    EXPECT_TRUE(tryElsewhere());

    storage.object.Lock();
    storage.object.~Mutex();
    storage.object.Lock();  // would block on the lock that is still held
    EXPECT_FALSE(storage.object.TryLock());
    storage.object.Unlock();
}

TEST(FfrtUtilsTest, SignallingAConditionNobodyWaitsForIsHarmless)
{
    Undestroyed<FFRTUtils::ConditionVariable> storage;
    EXPECT_NO_FATAL_FAILURE(storage.object.NotifyOne());
    storage.object.~ConditionVariable();
    EXPECT_NO_FATAL_FAILURE(storage.object.NotifyAll());
}

}  // namespace
}  // namespace Vexo::NetManagerStandard
