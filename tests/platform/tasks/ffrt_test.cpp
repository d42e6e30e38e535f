#include "platform/tasks/ffrt.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>

#include "tests/support/log_capture.h"

namespace {

using namespace std::chrono_literals;
using Vexo::Tests::Gate;
using Vexo::Tests::LogCapture;
using Vexo::Tests::Trail;

void Submit(const std::function<void()>& task)
{
    ffrt_submit(ffrt::create_function_wrapper(task, ffrt_function_kind_general), nullptr);
}

ffrt::task_handle SubmitTo(ffrt::queue& queue, std::chrono::microseconds delay, const std::function<void()>& task)
{
    ffrt_task_attr_t attr;
    ffrt_task_attr_init(&attr);
    ffrt_task_attr_set_delay(&attr, static_cast<uint64_t>(delay.count()));
    return ffrt_queue_submit_h(queue, ffrt::create_function_wrapper(task, ffrt_function_kind_queue), &attr);
}

TEST(FfrtWaitTest, WaitCoversTasksOfItsThreadOnly)
{
    Gate others;
    Trail<int> blocked;
    std::thread other([&] {
        Submit([&blocked, block = others.Blocker()] {
            blocked.Add(0);
            block();
        });
    });
    other.join();  // The thread ends, but its task still blocks.
    ASSERT_EQ(blocked.WaitFor(1).size(), 1U);

    std::atomic<int> finished{0};
    for (int i = 0; i < 20; ++i) {
        Submit([&] { ++finished; });
    }
    ffrt_wait();
    EXPECT_EQ(finished, 20);
}

TEST(FfrtWaitTest, WaitInsideTaskCoversItsSubtasksOnly)
{
    Gate outside;
    Submit(outside.Blocker());
    Trail<int> inner;
    Submit([&] {
        for (int i = 0; i < 5; ++i) {
            Submit([&] { inner.Add(1); });
        }
        ffrt_wait();
        inner.Add(2);  // runs while the first task still blocks
    });
    EXPECT_EQ(inner.WaitFor(6), (std::vector<int>{1, 1, 1, 1, 1, 2}));
    outside.Open();
    ffrt_wait();
}

TEST(FfrtWaitTest, ThrowingTaskIsLoggedAndDestroyedBeforeWaitReturns)
{
    const LogCapture log;
    const auto held = std::make_shared<int>(1);
    Submit([held] { throw std::runtime_error("bad day"); });
    ffrt_wait();
    EXPECT_EQ(held.use_count(), 1);
    EXPECT_TRUE(log.Contains("ended by an exception: bad day"));
    EXPECT_EQ(ffrt::async([] { throw 1; }).wait_for(Vexo::Tests::WAIT_LIMIT), ffrt::future_status::ready);
}

TEST(FfrtQueueTest, RunsByDueTimeThenSubmissionOrderPastExceptions)
{
    Trail<int> order;
    Gate gate;
    ffrt::queue queue("test");
    SubmitTo(queue, 0us, gate.Blocker());
    SubmitTo(queue, std::chrono::microseconds(INT64_MAX), [&] { order.Add(9); });
    SubmitTo(queue, 400ms, [&] { order.Add(4); });
    SubmitTo(queue, 0us, [&] { order.Add(1); });
    SubmitTo(queue, 0us, [] { throw std::runtime_error("logged"); });
    SubmitTo(queue, 0us, [&] { order.Add(2); });
    SubmitTo(queue, 1ms, [&] { order.Add(3); });
    gate.Open();
    EXPECT_EQ(order.WaitFor(4), (std::vector<int>{1, 2, 3, 4}));
}

TEST(FfrtQueueTest, DestructorDropsQueuedTasksAndWaitsForRunningOne)
{
    auto held = std::make_shared<int>(0);
    std::atomic<bool> ended{false};
    Trail<int> begun;
    Gate gate;
    auto queue = std::make_unique<ffrt::queue>("test");
    SubmitTo(*queue, 0us, [&, block = gate.Blocker()] {
        begun.Add(0);
        block();
        ended = true;
    });
    SubmitTo(*queue, 0us, [held] { ++*held; });
    SubmitTo(*queue, 10ms, [held] { ++*held; });
    ASSERT_EQ(begun.WaitFor(1).size(), 1U);
    std::thread opener([&] {
        while (held.use_count() > 1) {
            std::this_thread::yield();
        }
        gate.Open();
    });
    queue.reset();
    EXPECT_TRUE(ended);
    opener.join();
    EXPECT_EQ(*held, 0);
}

}  // namespace
