#include "platform/tasks/elastic_pool.h"

#include <gtest/gtest.h>

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
