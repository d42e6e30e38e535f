// Compares the time of a task with the minimum, which is a bare futex hand-off from one thread to another and back.
// Both threads run on one CPU, because waking an idle virtual CPU would take most of the measured time. The
// measurements alternate, so that a change of the machine's load affects both.
//   tasks_bench [ITERATIONS]     prints the median and the 99th percentile in microseconds, and a ratio
#include <linux/futex.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "platform/tasks/ffrt.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int ROUNDS = 9;

void PinToOneCpu()
{
    cpu_set_t allowed;
    cpu_set_t one;
    CPU_ZERO(&one);
    if (::sched_getaffinity(0, sizeof(allowed), &allowed) != 0) {
        std::perror("sched_getaffinity");
        std::exit(1);
    }
    int cpu = CPU_SETSIZE - 1;
    while (!CPU_ISSET(cpu, &allowed)) {
        --cpu;
    }
    CPU_SET(cpu, &one);
    if (::sched_setaffinity(0, sizeof(one), &one) != 0) {
        std::perror("sched_setaffinity");
        std::exit(1);
    }
}

void FutexWait(std::atomic<uint32_t>& word, uint32_t value)
{
    while (word.load(std::memory_order_acquire) == value) {
        ::syscall(SYS_futex, &word, FUTEX_WAIT_PRIVATE, value, nullptr, nullptr, 0);
    }
}

void FutexWake(std::atomic<uint32_t>& word, uint32_t value)
{
    word.store(value, std::memory_order_release);
    ::syscall(SYS_futex, &word, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

// A thread that answers each futex hand-off at once.
class Partner {
public:
    ~Partner()
    {
        FutexWake(request_, STOP);
        thread_.join();
    }

    void HandOver()
    {
        FutexWake(request_, ++turn_);
        FutexWait(answer_, turn_ - 1);
    }

private:
    static constexpr uint32_t STOP = UINT32_MAX;

    void Run()
    {
        for (uint32_t seen = 0;;) {
            FutexWait(request_, seen);
            seen = request_.load(std::memory_order_acquire);
            if (seen == STOP) {
                return;
            }
            FutexWake(answer_, seen);
        }
    }

    std::atomic<uint32_t> request_{0};
    std::atomic<uint32_t> answer_{0};
    uint32_t turn_ = 0;
    std::thread thread_{[this] { Run(); }};
};

struct Figure {
    double medianUs = 0;
    double p99Us = 0;
};

Figure Measure(int iterations, const std::function<void()>& operation)
{
    std::vector<double> times;
    times.reserve(static_cast<size_t>(iterations));
    for (int i = 0; i < iterations; ++i) {
        const auto start = Clock::now();
        operation();
        times.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
    }
    std::sort(times.begin(), times.end());
    return {times[times.size() / 2], times[times.size() * 99 / 100]};
}

Figure MedianOf(std::vector<Figure> rounds)
{
    const auto middle = static_cast<std::ptrdiff_t>(rounds.size() / 2);
    Figure result;
    std::nth_element(rounds.begin(), rounds.begin() + middle, rounds.end(),
                     [](const Figure& a, const Figure& b) { return a.p99Us < b.p99Us; });
    result.p99Us = rounds[static_cast<size_t>(middle)].p99Us;
    std::nth_element(rounds.begin(), rounds.begin() + middle, rounds.end(),
                     [](const Figure& a, const Figure& b) { return a.medianUs < b.medianUs; });
    result.medianUs = rounds[static_cast<size_t>(middle)].medianUs;
    return result;
}

void SubmitAndWait(const std::function<void()>& task)
{
    ffrt_task_attr_t attributes;
    ffrt_task_attr_init(&attributes);
    ffrt_task_attr_set_name(&attributes, "SubmitTaskSync");
    ffrt_submit(ffrt::create_function_wrapper(task, ffrt_function_kind_general), &attributes);
    ffrt_task_attr_destroy(&attributes);
    ffrt_wait();
}

}  // namespace

int main(int argc, char** argv)
{
    const int iterations = argc > 1 ? std::atoi(argv[1]) : 20'000;
    if (iterations < 100) {
        std::fprintf(stderr, "tasks_bench: ITERATIONS is a number from 100 on\n");
        return 2;
    }
    PinToOneCpu();
    Partner partner;
    int64_t runs = 0;
    const std::function<void()> task = [&runs] { ++runs; };
    std::vector<Figure> bare;
    std::vector<Figure> submitted;
    for (int round = 0; round < ROUNDS; ++round) {
        bare.push_back(Measure(iterations, [&partner] { partner.HandOver(); }));
        submitted.push_back(Measure(iterations, [&task] { SubmitAndWait(task); }));
    }
    if (runs != static_cast<int64_t>(iterations) * ROUNDS) {
        std::fprintf(stderr, "tasks_bench: %lld tasks ran instead of %lld\n", static_cast<long long>(runs),
                     static_cast<long long>(iterations) * ROUNDS);
        return 1;
    }
    const Figure limit = MedianOf(bare);
    const Figure tasks = MedianOf(submitted);
    std::printf("futex hand-off and back   %6.2f us   p99 %6.2f us\n", limit.medianUs, limit.p99Us);
    std::printf("submit and wait           %6.2f us   p99 %6.2f us\n", tasks.medianUs, tasks.p99Us);
    std::printf("ratio                     %6.2f\n", tasks.medianUs / limit.medianUs);
    return 0;
}
