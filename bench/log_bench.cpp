// Measures how long three calls take: a log line to a sink that does nothing, a log line that is not written because of
// its level, and a trace call without a sink.
//   log_bench [ITERATIONS]     prints the median of nine rounds for each call, in nanoseconds
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "platform/dfx/log.h"
#include "platform/dfx/sinks.h"
#include "platform/dfx/trace.h"

namespace {

using namespace Vexo::QuviewDFX;
using Clock = std::chrono::steady_clock;

constexpr LogLabel LABEL{LOG_DOMAIN_PLATFORM, "Bench"};

class NullSink : public LogSink {
public:
    void Write(const LogRecord& record) noexcept override { bytes += record.message.size(); }
    uint64_t bytes = 0;
};

template <typename Operation>
double NanosecondsPerCall(int iterations, Operation operation)
{
    std::array<double, 9> rounds{};
    for (double& round : rounds) {
        const auto start = Clock::now();
        for (int i = 0; i < iterations; ++i) {
            operation(i);
        }
        round = std::chrono::duration<double, std::nano>(Clock::now() - start).count() / iterations;
    }
    std::nth_element(rounds.begin(), rounds.begin() + rounds.size() / 2, rounds.end());
    return rounds[rounds.size() / 2];
}

}  // namespace

int main(int argc, char** argv)
{
    const int iterations = argc > 1 ? std::atoi(argv[1]) : 200'000;
    if (iterations < 1) {
        std::fprintf(stderr, "log_bench: ITERATIONS is a number from 1 on\n");
        return 2;
    }
    const auto sink = std::make_shared<NullSink>();
    SetLogSink(sink);
    const std::string device = "7f3a11c21e";
    const double written = NanosecondsPerCall(iterations, [&device](int i) {
        LogInfo(LABEL, " device %{public}s, session %{public}d, key %{private}s, code %u", device, i, device, 7U);
    });
    const double dropped = NanosecondsPerCall(
        iterations, [&device](int i) { Log(LogLevel::DEBUG, LABEL, " %{public}s %{public}d", device, i); });
    const double traced = NanosecondsPerCall(iterations, [&device](int) { Vexo::StartTrace(1, device); });
    if (sink->bytes == 0) {
        std::fprintf(stderr, "log_bench: no line reached the sink\n");
        return 1;
    }
    std::printf("log line of four arguments  %7.1f ns\n", written);
    std::printf("log line below the level    %7.1f ns\n", dropped);
    std::printf("trace call without a sink   %7.1f ns\n", traced);
    return 0;
}
