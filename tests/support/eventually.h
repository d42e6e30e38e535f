// Waits of a test: WAIT_LIMIT for what must come, and Eventually for conditions that nobody signals.
#pragma once

#include <chrono>
#include <thread>

namespace Vexo::Tests {

inline constexpr std::chrono::seconds WAIT_LIMIT{30};  // generous: a sanitizer on a busy machine is ten times slower

// Polls until the condition holds; false when it did not within the limit.
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
