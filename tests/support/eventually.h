// WAIT_LIMIT is the longest time for which a test waits. Eventually() polls a condition, by default for WAIT_LIMIT.
#pragma once

#include <chrono>
#include <thread>

namespace Vexo::Tests {

// This limit is long, because a sanitizer on a busy machine is ten times slower.
inline constexpr std::chrono::seconds WAIT_LIMIT{30};

// Polls the condition until it is true. Returns false if it does not become true within the limit.
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
