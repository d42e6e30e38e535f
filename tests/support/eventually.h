// Waiting in tests: WAIT_LIMIT, the time limit, and Eventually(), which polls a condition.
#pragma once

#include <chrono>
#include <thread>

namespace Vexo::Tests {

inline constexpr std::chrono::seconds WAIT_LIMIT{30};  // generous: a sanitizer on a busy machine is ten times slower

// Polls until the condition holds. Returns false if it does not hold within the limit.
template <typename Condition>
bool Eventually(const Condition& condition, std::chrono::milliseconds limit = WAIT_LIMIT)
{
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

}  // namespace Vexo::Tests
