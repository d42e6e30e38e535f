// EndSignals: the signals that stop the daemon. They are blocked in every thread, and the main thread waits for them.
// So no signal handler interrupts a call (signal(7), sigwaitinfo(2)), and waiting causes no wake-ups.
#pragma once

#include <csignal>

#include <chrono>

namespace Vexo::Host {

// Handles SIGTERM, SIGINT and SIGHUP.
class EndSignals {
public:
    // Blocks these signals and ignores SIGPIPE. Call on the main thread before any other thread exists, because threads
    // inherit both.
    EndSignals();

    // Blocks until one of the signals arrives; returns its number.
    int Wait();
    // As Wait, but returns 0 if no signal arrives within limit.
    int WaitFor(std::chrono::milliseconds limit);

private:
    sigset_t signals_{};
};

}  // namespace Vexo::Host
