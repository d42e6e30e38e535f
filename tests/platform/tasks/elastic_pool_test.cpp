#include "platform/tasks/elastic_pool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <numeric>
#include <stdexcept>
#include <thread>

#include "tests/platform/tasks/signals.h"

namespace Vexo::Tasks {
namespace {

using Tests::Gate;
using Tests::LogCapture;
using Tests::Trail;

TEST(ElasticPoolTest, BlockedWorkDoesNotDelayTheNext)
{
    constexpr size_t BLOCKED = 64;
    Trail<int> begun;
    Trail<int> ran;
    ElasticPool pool("test");
    Gate gate;
    for (size_t i = 0; i < BLOCKED; ++i) {
        ASSERT_TRUE(pool.Post([&begun, way = gate.Way()] {
            begun.Add(0);
            way();
        }));
    }
    ASSERT_TRUE(pool.Post([&] { ran.Add(1); }));
    EXPECT_EQ(ran.WaitFor(1).size(), 1U);
    EXPECT_EQ(begun.WaitFor(BLOCKED).size(), BLOCKED);
}

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
    EXPECT_FALSE(pool.Post(nullptr));
    Strand strand(pool);
    EXPECT_FALSE(strand.Post([] {}));
    strand.Drain();  // nothing was accepted
    EXPECT_EQ(pool.ThreadCount(), 1U);
    EXPECT_EQ(log.Count("all 1 threads of pool small are busy"), 1U);
    gate.Open();
    EXPECT_EQ(ran.WaitFor(3), (std::vector<int>{0, 1, 2}));
}

TEST(ElasticPoolTest, EveryPostFromManyThreadsRunsOnceBeforeTheDestructorReturns)
{
    constexpr int EACH = 500;
    std::atomic<int> runs{0};
    std::atomic<int> finished{0};
    {
        ElasticPool pool("many", 3);
        const auto post = [&] {
            for (int i = 0; i < EACH; ++i) {
                EXPECT_TRUE(pool.Post([&] { ++runs; }, [&] { ++finished; }));
            }
        };
        std::thread other(post);
        post();
        other.join();
    }
    EXPECT_EQ(runs, EACH * 2);
    EXPECT_EQ(finished, EACH * 2);
}

TEST(ElasticPoolTest, WhoIsWokenWhenWorkFinishedFindsItsWorkerFree)
{
    Trail<int> finished;
    ElasticPool pool("one");
    for (size_t i = 1; i <= 200; ++i) {
        ASSERT_TRUE(pool.Post([] {}, [&] { finished.Add(0); }));
        ASSERT_EQ(finished.WaitFor(i).size(), i);
    }
    EXPECT_EQ(pool.ThreadCount(), 1U);
}

TEST(ElasticPoolTest, IdleWorkersLeaveAfterTheIdleLimitAndComeBackForWork)
{
    Trail<int> ran;
    ElasticPool pool("idle");
    Gate gate;
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(pool.Post([&ran, way = gate.Way()] {
            ran.Add(0);
            way();
        }));
    }
    ASSERT_EQ(ran.WaitFor(3).size(), 3U);
    const auto start = std::chrono::steady_clock::now();
    gate.Open();
    while (pool.ThreadCount() > 0 && std::chrono::steady_clock::now() < start + POOL_THREAD_IDLE_LIMIT * 2) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    EXPECT_EQ(pool.ThreadCount(), 0U);
    EXPECT_GE(std::chrono::steady_clock::now() - start, POOL_THREAD_IDLE_LIMIT);
    ASSERT_TRUE(pool.Post([&] { ran.Add(0); }));
    EXPECT_EQ(ran.WaitFor(4).size(), 4U);
}

TEST(StrandTest, RunsInPostingOrderPastExceptionsAlsoAfterItsOwnerLetGo)
{
    const LogCapture log;
    Trail<int> order;
    Gate gate;
    auto strand = std::make_unique<Strand>();
    ASSERT_TRUE(strand->Post([] { throw std::runtime_error("no such luck"); }));
    ASSERT_TRUE(strand->Post([&] { EXPECT_TRUE(strand->RunsOnThisThread()); }));
    strand->Drain();
    EXPECT_TRUE(log.Contains("work ended by an exception: no such luck"));
    EXPECT_FALSE(strand->RunsOnThisThread());
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
