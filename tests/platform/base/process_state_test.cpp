#include "platform/base/process_state.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <future>
#include <thread>

#include "tests/support/eventually.h"

namespace Vexo {
namespace {

TEST(ProcessStateTest, StartTimeIsReadFromProcess)
{
    EXPECT_GT(StartTimeOf(getpid()), StartTimeOf(1));
    EXPECT_EQ(StartTimeOf(-1), 0U);
}

TEST(ProcessStateTest, ThreadIsRunnableUntilItSleeps)
{
    EXPECT_TRUE(IsRunnable(gettid()));
    std::promise<pid_t> id;
    std::promise<void> end;
    std::thread sleeper([&] {
        id.set_value(gettid());
        end.get_future().wait();
    });
    const pid_t thread = id.get_future().get();
    EXPECT_TRUE(Tests::Eventually([&] { return !IsRunnable(thread); }));
    end.set_value();
    sleeper.join();
    EXPECT_TRUE(Tests::Eventually([&] { return !IsRunnable(thread); })) << "the thread has ended";
}

}  // namespace
}  // namespace Vexo
