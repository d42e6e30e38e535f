#include "tests/load/comparison.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace Vexo::Load {

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr size_t REQUESTS = 100;  // of each window
constexpr size_t WARM_UP = 10;
// A window (a series of WARM_UP + REQUESTS requests) ends early after this time, so that a slow machine does not make
// the test long.
constexpr std::chrono::milliseconds WINDOW_LIMIT{1200};

Milliseconds At(std::vector<Milliseconds>& times, size_t percent)
{
    std::sort(times.begin(), times.end());
    return times[std::min(times.size() - 1, times.size() * percent / 100)];
}

Milliseconds WindowP99(const Request& request, int& failures)
{
    std::vector<Milliseconds> times;
    const auto began = Clock::now();
    for (size_t i = 0; i < WARM_UP + REQUESTS && (i <= WARM_UP || Clock::now() - began < WINDOW_LIMIT); ++i) {
        const auto from = Clock::now();
        failures += request() ? 0 : 1;
        if (i >= WARM_UP) {
            times.emplace_back(Clock::now() - from);
        }
    }
    return At(times, 99);
}

}  // namespace

void ExpectServedDuring(const StartLoad& startLoad, const Request& request)
{
    std::vector<Milliseconds> quiet;
    std::vector<Milliseconds> loaded;
    int failures = 0;
    for (int i = 0; i < WINDOWS; ++i) {
        quiet.push_back(WindowP99(request, failures));
        const std::shared_ptr<void> load = startLoad();
        loaded.push_back(WindowP99(request, failures));
    }
    const Milliseconds quietP99 = At(quiet, 50);
    const Milliseconds loadedP99 = At(loaded, 50);
    std::printf("p99: quiet %.2f ms, under load %.2f ms (%.1f times)\n", quietP99.count(), loadedP99.count(),
                loadedP99 / quietP99);
    EXPECT_EQ(failures, 0) << "requests of the good client";
    EXPECT_LE(loadedP99.count(), std::max(SLOWER * quietP99, Milliseconds(FLOOR)).count());
}

}  // namespace Vexo::Load
