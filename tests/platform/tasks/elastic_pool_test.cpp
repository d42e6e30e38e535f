#include "platform/tasks/elastic_pool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <numeric>
#include <stdexcept>

#include "tests/support/log_capture.h"

namespace Vexo::Tasks {
namespace {

using Tests::Gate;
using Tests::LogCapture;
using Tests::Trail;

TEST(ElasticPoolTest, BeyondItsThreadsWorkWaitsInOrderWithOneWarningAndOnlyAFullQueueRefuses)
{
    const LogCapture log;
    Trail<int> ran;
    ElasticPool pool("small", 1);
    Gate gate;
    ASSERT_TRUE(pool.Post(gate.Way()));
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(pool.Post([&, i] { ran.Add(i); }));
    }
    while (pool.QueuedCount() < MAX_POOL_QUEUE) {
        ASSERT_TRUE(pool.Post([] {}));
    }
    EXPECT_FALSE(pool.Post([] {}));
    EXPECT_EQ(pool.ThreadCount(), 1U);
    EXPECT_EQ(log.Count("all 1 threads of pool small are busy"), 1U);
    gate.Open();
    EXPECT_EQ(ran.WaitFor(3), (std::vector<int>{0, 1, 2}));
}

// Gives a pool its threads, refuses them, or lets the post wait for the answer.
class ThreadSource {
public:
    ThreadStarter Starter()
    {
        return [this](Work run) {
            asked.Add(true);
            if (const std::function<void()> wait = std::exchange(beforeAnswer, nullptr)) {
                wait();
            }
            return gives.load() && StartDetachedThread(std::move(run));
        };
    }

    std::atomic<bool> gives{true};
    std::function<void()> beforeAnswer;  // runs once
    Trail<bool> asked;
};

TEST(ElasticPoolTest, WorkWhoseThreadIsRefusedGoesToTheWorkerThatBecameIdleMeanwhile)
{
    ThreadSource source;
    Trail<int> ran;
    Gate gate;
    ElasticPool pool("refused", 4, source.Starter());
    ASSERT_TRUE(pool.Post(gate.Way(), [&] { ran.Add(1); }));
    source.gives = false;
    source.beforeAnswer = [&] {
        gate.Open();
        ran.WaitFor(1);
    };
    ASSERT_TRUE(pool.Post([&] { ran.Add(2); }));
    EXPECT_EQ(ran.WaitFor(2), (std::vector<int>{1, 2}));
    EXPECT_EQ(pool.ThreadCount(), 1U);
}

TEST(ElasticPoolTest, PostsWhoseThreadsAreRefusedTogetherAreBothRefused)
{
    ThreadSource source;
    source.gives = false;
    ElasticPool pool("refused", 4, source.Starter());
    std::future<bool> second;
    source.beforeAnswer = [&] {
        second = std::async(std::launch::async, [&] { return pool.Post([] {}); });
        source.asked.WaitFor(2);
    };
    EXPECT_FALSE(pool.Post([] {}));
    EXPECT_FALSE(second.get());
    EXPECT_EQ(pool.QueuedCount(), 0U);
    source.gives = true;
    Trail<int> ran;
    EXPECT_TRUE(pool.Post([&] { ran.Add(1); }));
    EXPECT_EQ(ran.WaitFor(1).size(), 1U);
}

TEST(ElasticPoolTest, WorkThatWaitsForARefusedThreadRunsOnTheNextOneThatIsGiven)
{
    ThreadSource source;
    Trail<int> ran;
    ElasticPool pool("refused", 4, source.Starter());
    const Gate gate;
    ASSERT_TRUE(pool.Post(gate.Way()));
    source.gives = false;
    ASSERT_TRUE(pool.Post([&] { ran.Add(1); }));
    source.gives = true;
    ASSERT_TRUE(pool.Post([&] { ran.Add(2); }));
    EXPECT_EQ(ran.WaitFor(2), (std::vector<int>{1, 2})) << "the first worker is blocked all the while";
}

TEST(ElasticPoolTest, AnIdleWorkersThreadEndsWithItsPool)
{
    const auto seen = std::make_shared<Trail<std::string>>();
    {
        ElasticPool pool("ending", 1, [seen](const Work& run) {
            return StartDetachedThread([run, seen] {
                run();
                seen->Add("ended");
            });
        });
        ASSERT_TRUE(pool.Post([] {}, [seen] { seen->Add("idle"); }));
        seen->WaitFor(1);
    }
    EXPECT_EQ(seen->WaitFor(2), (std::vector<std::string>{"idle", "ended"}));
}

TEST(StrandTest, RunsInPostingOrderPastExceptionsAlsoAfterItsOwnerLetGo)
{
    const LogCapture log;
    Trail<int> order;
    Gate gate;
    auto strand = std::make_unique<Strand>();
    ASSERT_TRUE(strand->Post([] { throw std::runtime_error("no such luck"); }));
    strand->Drain();
    EXPECT_TRUE(log.Contains("work ended by an exception: no such luck"));
    ASSERT_TRUE(strand->Post(gate.Way()));
    std::vector<int> expected(300);
    std::iota(expected.begin(), expected.end(), 0);
    for (const int i : expected) {
        ASSERT_TRUE(strand->Post([&, i] { order.Add(i); }));
    }
    strand.reset();
    gate.Open();
    EXPECT_EQ(order.WaitFor(expected.size()), expected);
}

}  // namespace
}  // namespace Vexo::Tasks
