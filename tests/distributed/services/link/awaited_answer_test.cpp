#include "distributed/services/link/awaited_answer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace Vexo::NetManagerStandard {
namespace {

using namespace std::chrono_literals;
using Request = AwaitedAnswer::Request;

constexpr int SESSION = 7;

TEST(AwaitedAnswerTest, LateAnswerDoesNotDecideLaterRequest)
{
    struct Case {
        int next;
        int ended;  // how often the session of the late answer is closed
    };
    // The next request over a collaboration uses the same session id. The next request over the soft bus has a new
    // session id.
    for (const auto& [next, ended] : {Case{SESSION + 1, 1}, Case{SESSION, 0}}) {
        AwaitedAnswer awaited;
        {
            const Request first(awaited, SESSION);
            std::atomic<bool> isClaimed{false};
            const std::jthread handler([&] {
                EXPECT_TRUE(awaited.Claim(SESSION));
                isClaimed = true;
            });
            while (!isClaimed && !awaited.WaitForResult(1ms)) {
            }
            EXPECT_TRUE(isClaimed) << "a result came before the answer was posted";
        }
        int ends = 0;
        std::atomic<bool> isPosted{false};
        std::jthread handler;  // joined after the request has ended, because the thread may wait for that end
        {
            const Request second(awaited, next);
            handler = std::jthread([&, next = next] {
                awaited.Post(SESSION, -94, [&] { ++ends; });
                isPosted = true;
                EXPECT_TRUE(awaited.Claim(next));
                EXPECT_FALSE(awaited.Claim(next)) << "only the first answer counts";
                awaited.Post(next, 0, [] {});
            });
            while (!isPosted && !awaited.WaitForResult(1ms)) {
            }
            EXPECT_EQ(awaited.WaitForResult(30s), 0);
        }
        handler.join();
        EXPECT_EQ(ends, ended) << next;
    }
}

TEST(AwaitedAnswerTest, RequestsRunOneAtATime)
{
    AwaitedAnswer awaited;
    std::atomic<int> requests{0};
    const auto ask = [&] {
        for (int i = 0; i < 20; ++i) {
            const Request request(awaited, SESSION);
            EXPECT_EQ(++requests, 1);
            awaited.WaitForResult(1ms);
            --requests;
        }
    };
    const std::jthread other(ask);
    ask();
}

}  // namespace
}  // namespace Vexo::NetManagerStandard
