#include "platform/tasks/elastic_pool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <numeric>
#include <stdexcept>

#include "tests/support/log_capture.h"

namespace Vexo::Tasks {
namespace {

using Tests::Gate;
using Tests::LogCapture;
using Tests::Trail;

// Posts work that blocks until the gate is opened, and waits until a thread runs this work.
void BlockOneThread(ElasticPool& pool, const Gate& gate, const Work& finished = nullptr)
{
    const auto running = std::make_shared<Trail<bool>>();
    ASSERT_TRUE(pool.Post(
        [running, wait = gate.Blocker()] {
            running->Add(true);
            wait();
        },
        finished));
    ASSERT_EQ(running->WaitFor(1).size(), 1U);
}

TEST(ElasticPoolTest, ExcessWorkQueuesWithOneWarningAndOnlyFullQueueRefuses)
{
    const LogCapture log;
    Trail<int> ran;
    ElasticPool pool("small", 1);
    Gate gate;
    BlockOneThread(pool, gate);
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

// A fixture with a pool that calls a function of the test to get a new thread. That function can refuse the thread. The
// function can also call beforeAnswer_, which blocks Post() until beforeAnswer_ returns.
class RefusedThreadsTest : public testing::Test {
protected:
    std::atomic<bool> gives_{true};
    std::function<void()> beforeAnswer_;  // called at most once, before a thread is given or refused
    Trail<bool> asked_;
    Trail<int> ran_;
    ElasticPool pool_{"refused", 4, [this](Work run) {
                          asked_.Add(true);
                          if (const std::function<void()> wait = std::exchange(beforeAnswer_, nullptr)) {
                              wait();
                          }
                          return gives_.load() && StartDetachedThread(std::move(run));
                      }};
    Gate gate_;  // The gate is destroyed before the pool, and its destructor opens it.
};

TEST_F(RefusedThreadsTest, IdleWorkerRunsWorkWhoseThreadWasRefused)
{
    BlockOneThread(pool_, gate_, [this] { ran_.Add(1); });
    gives_ = false;
    beforeAnswer_ = [this] {
        gate_.Open();
        ran_.WaitFor(1);
    };
    ASSERT_TRUE(pool_.Post([this] { ran_.Add(2); }));
    EXPECT_EQ(ran_.WaitFor(2), (std::vector<int>{1, 2}));
    EXPECT_EQ(pool_.ThreadCount(), 1U);
}

TEST_F(RefusedThreadsTest, ConcurrentPostsFailWhenBothThreadsAreRefused)
{
    gives_ = false;
    std::future<bool> second;
    beforeAnswer_ = [&] { second = std::async(std::launch::async, [this] { return pool_.Post([] {}); }); };
    EXPECT_FALSE(pool_.Post([] {}));
    EXPECT_FALSE(second.get());
    EXPECT_EQ(asked_.WaitFor(2).size(), 2U);
    EXPECT_EQ(pool_.QueuedCount(), 0U);
    gives_ = true;
    EXPECT_TRUE(pool_.Post([this] { ran_.Add(1); }));
    EXPECT_EQ(ran_.WaitFor(1).size(), 1U);
}

TEST_F(RefusedThreadsTest, WorkOfRefusedThreadRunsOnNextStartedThread)
{
    BlockOneThread(pool_, gate_);
    gives_ = false;
    ASSERT_TRUE(pool_.Post([this] { ran_.Add(1); }));
    gives_ = true;
    ASSERT_TRUE(pool_.Post([this] { ran_.Add(2); }));
    EXPECT_THAT(ran_.WaitFor(2), testing::UnorderedElementsAre(1, 2)) << "the first worker is blocked all the while";
}

TEST(ElasticPoolTest, IdleWorkerThreadEndsWithPool)
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

TEST(StrandTest, RunsInOrderPastExceptionsAndAfterDestruction)
{
    const LogCapture log;
    Trail<int> order;
    Gate gate;
    auto strand = std::make_unique<Strand>();
    ASSERT_TRUE(strand->Post([] { throw std::runtime_error("no such luck"); }));
    strand->Drain();
    EXPECT_TRUE(log.Contains("work ended by an exception: no such luck"));
    ASSERT_TRUE(strand->Post(gate.Blocker()));
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
