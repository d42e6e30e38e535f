#include "host/signals.h"

#include <unistd.h>

#include <cerrno>

#include "platform/base/check.h"
#include "platform/base/clock.h"

namespace Vexo::Host {

EndSignals::EndSignals()
{
    DISTNET_ASSERT(::gettid() == ::getpid(), "the main thread blocks the signals");
    sigemptyset(&signals_);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        sigaddset(&signals_, signal);
    }
    pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
    // A write to a closed connection must fail with an error, not end the daemon.
    signal(SIGPIPE, SIG_IGN);
}

int EndSignals::Wait()
{
    int taken = 0;
    while ((taken = sigwaitinfo(&signals_, nullptr)) < 0) {
    }
    return taken;
}

int EndSignals::WaitFor(std::chrono::milliseconds limit)
{
    const SteadyTime deadline = Clock::System().Now() + limit;
    for (;;) {
        const std::chrono::nanoseconds left = deadline - Clock::System().Now();
        if (left.count() <= 0) {
            return 0;
        }
        constexpr long nanosecondsPerSecond = 1'000'000'000;
        const timespec rest{static_cast<time_t>(left.count() / nanosecondsPerSecond),
                            left.count() % nanosecondsPerSecond};
        const int taken = sigtimedwait(&signals_, nullptr, &rest);
        if (taken > 0 || errno == EAGAIN) {
            return taken > 0 ? taken : 0;
        }
    }
}

}  // namespace Vexo::Host
