#include "tools/distnetctl/interrupt.h"

#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <thread>
#include <utility>

#include "tools/distnetctl/output.h"

namespace Vexo::Ctl {

namespace {

std::atomic<bool> g_isEnding{false};
std::atomic<Output*> g_output{nullptr};

sigset_t Interrupts()
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    return set;
}

}  // namespace

void ReportInterrupts(Output& output)
{
    g_output = &output;
}

void BlockInterrupts()
{
    const sigset_t set = Interrupts();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    (void)std::signal(SIGPIPE, SIG_IGN);
}

void WaitForInterrupt()
{
    const sigset_t set = Interrupts();
    int signal = 0;
    while (sigwait(&set, &signal) != 0) {
    }
}

void EndOnInterrupt()
{
    EndOnInterrupt([] {});
}

void EndOnInterrupt(std::function<void()> ended)
{
    std::thread([ended = std::move(ended)] {
        WaitForInterrupt();
        g_isEnding = true;
        (void)!write(STDERR_FILENO, "\n", 1);
        ended();
        if (Output* const output = g_output) {
            output->FinishInterrupted();
        }
        _exit(EXIT_INTERRUPTED);
    }).detach();
}

void WaitIfInterrupted()
{
    while (g_isEnding) {
        pause();
    }
}

void ExitDoneOnInterrupt(Mutex& busy)
{
    std::thread([&busy] {
        WaitForInterrupt();
        const MutexLock lock(busy);
        _exit(EXIT_DONE);
    }).detach();
}

}  // namespace Vexo::Ctl
