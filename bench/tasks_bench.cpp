// Measures the task runtime and the timers of the platform.
//   task.submit_wait     SubmitTaskSync, beside a bare futex hand-off to another thread and back
//   task.flood           1,000,000 tasks until the last has run, beside Asio's thread pool with two threads
//   task.delay.lateness  how late a task with a delay of 1 ms starts, beside a thread that reads a timerfd
//   task.delay.arm       to set and cancel 100,000 timers, beside Asio's timers
#include <linux/futex.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>
#include <asio/thread_pool.hpp>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "bench/bench.h"
#include "distributed/services/utils/ffrt_utils.h"
#include "platform/base/unique_fd.h"
#include "platform/tasks/ffrt.h"
#include "platform/tasks/timers.h"

namespace {

using namespace Vexo;
using namespace Vexo::Bench;
using Clock = std::chrono::steady_clock;
using NetManagerStandard::FFRTUtils;

constexpr int SUBMISSIONS = 20'000;
constexpr int FLOOD_TASKS = 1'000'000;
// The runtime refuses a task when 65,536 tasks wait (MAX_POOL_QUEUE), so the flood waits after this number of tasks.
constexpr int FLOOD_BATCH = 50'000;
constexpr size_t POOL_THREADS = 2;
constexpr int DELAYS = 200;
constexpr std::chrono::microseconds DELAY{1000};
constexpr size_t TIMERS = 100'000;

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

double MicrosecondsSince(Clock::time_point start)
{
    return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
}

Sample Both(double value)
{
    return {value, value};
}

void CompareSubmitAndWait(const Arguments& arguments)
{
    Partner partner;
    int64_t runs = 0;
    const std::function<void()> task = [&runs] { ++runs; };
    Compare(arguments, "task.submit_wait", "us",
            {"ours", [&] { return TimeEach(SUBMISSIONS, [&task] { FFRTUtils::SubmitTaskSync(task); }); }},
            {"futex hand-off", [&] { return TimeEach(SUBMISSIONS, [&partner] { partner.HandOver(); }); }});
    Check(runs == int64_t{SUBMISSIONS} * (arguments.rounds + 1), "run every task");
}

// Returns the tasks per second of a flood. flood: submits the given task FLOOD_TASKS times and waits until the last has
// run.
Sample FloodRate(const std::function<void(const std::function<void()>&)>& flood)
{
    std::atomic<int> runs{0};
    const auto start = Clock::now();
    flood([&runs] { runs.fetch_add(1, std::memory_order_relaxed); });
    const double seconds = MicrosecondsSince(start) / 1e6;
    Check(runs == FLOOD_TASKS, "run every task of the flood");
    return Both(FLOOD_TASKS / seconds);
}

void FloodRuntime(const std::function<void()>& task)
{
    for (int submitted = 0; submitted < FLOOD_TASKS; submitted += FLOOD_BATCH) {
        for (int i = 0; i < FLOOD_BATCH; ++i) {
            FFRTUtils::SubmitTask(task);
        }
        ffrt_wait();
    }
}

void FloodAsio(const std::function<void()>& task)
{
    asio::thread_pool pool(POOL_THREADS);
    for (int i = 0; i < FLOOD_TASKS; ++i) {
        asio::post(pool, task);
    }
    pool.join();
}

void CompareFlood(const Arguments& arguments)
{
    Compare(arguments, "task.flood", "1/s", {"ours", [] { return FloodRate(FloodRuntime); }},
            {"Asio's thread pool", [] { return FloodRate(FloodAsio); }});
}

// Starts a task with the delay DELAY in a queue of the runtime, and returns how late the task starts.
double LatenessOfQueue(ffrt::queue& queue)
{
    std::atomic<uint32_t> done{0};
    Clock::time_point ran;
    std::function<void()> task = [&] {
        ran = Clock::now();
        FutexWake(done, 1);
    };
    const auto due = Clock::now() + DELAY;
    Check(FFRTUtils::SubmitDelayTask(task, 1, queue) != nullptr, "submit a delayed task");
    FutexWait(done, 0);
    return std::chrono::duration<double, std::micro>(ran - due).count();
}

// Sets the timerfd to the delay DELAY, reads it on this thread, and returns how late the read returns.
double LatenessOfTimerfd(int timer)
{
    itimerspec when{};
    when.it_value.tv_nsec = std::chrono::nanoseconds(DELAY).count();
    const auto due = Clock::now() + DELAY;
    Check(::timerfd_settime(timer, 0, &when, nullptr) == 0, "timerfd_settime");
    uint64_t expirations = 0;
    Check(::read(timer, &expirations, sizeof(expirations)) == ssize_t{sizeof(expirations)}, "read a timerfd");
    return std::chrono::duration<double, std::micro>(Clock::now() - due).count();
}

Sample PercentilesOf(const std::function<double()>& measure)
{
    std::vector<double> times;
    for (int i = 0; i < DELAYS; ++i) {
        times.push_back(measure());
    }
    std::sort(times.begin(), times.end());
    return {times[DELAYS / 2], times[DELAYS * 99 / 100]};
}

void CompareLateness(const Arguments& arguments)
{
    ffrt::queue queue("bench");
    const UniqueFd timer(::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC));
    Check(static_cast<bool>(timer), "timerfd_create");
    Compare(arguments, "task.delay.lateness", "us",
            {"ours", [&] { return PercentilesOf([&] { return LatenessOfQueue(queue); }); }},
            {"timerfd", [&] { return PercentilesOf([&] { return LatenessOfTimerfd(timer.Get()); }); }});
}

void CompareArming(const Arguments& arguments)
{
    using namespace std::chrono_literals;
    asio::io_context context;
    std::vector<Tasks::Timer> ours(TIMERS);
    std::vector<asio::steady_timer> others;
    for (size_t i = 0; i < TIMERS; ++i) {
        others.emplace_back(context);
    }
    // Different delays, as the timers of different sessions have.
    const auto delayOf = [](size_t i) { return 10s + std::chrono::microseconds(i * 7919 % TIMERS); };
    const auto perTimer = [](Clock::time_point start) {
        return Both(MicrosecondsSince(start) * 1000 / static_cast<double>(TIMERS));
    };
    Compare(arguments, "task.delay.arm", "ns",
            {"ours",
             [&] {
                 const auto start = Clock::now();
                 for (size_t i = 0; i < TIMERS; ++i) {
                     ours[i] = Tasks::Timers::System().CallAfter(delayOf(i), [] {});
                 }
                 for (Tasks::Timer& timer : ours) {
                     Check(timer.Cancel(), "cancel a timer that is set");
                 }
                 return perTimer(start);
             }},
            {"Asio's timers", [&] {
                 const auto start = Clock::now();
                 for (size_t i = 0; i < TIMERS; ++i) {
                     others[i].expires_after(delayOf(i));
                     others[i].async_wait([](const std::error_code&) {});
                 }
                 for (asio::steady_timer& timer : others) {
                     Check(timer.cancel() == 1, "cancel a timer that is set");
                 }
                 const Sample sample = perTimer(start);
                 context.restart();
                 context.run();  // runs the handlers of the cancelled timers, which is not measured
                 return sample;
             }});
}

}  // namespace

int main(int argc, char** argv)
{
    const Arguments arguments = Start(argc, argv);
    if (IsWanted(arguments, "task.submit_wait")) {
        CompareSubmitAndWait(arguments);
    }
    if (IsWanted(arguments, "task.flood")) {
        CompareFlood(arguments);
    }
    if (IsWanted(arguments, "task.delay.lateness")) {
        CompareLateness(arguments);
    }
    if (IsWanted(arguments, "task.delay.arm")) {
        CompareArming(arguments);
    }
    return 0;
}
