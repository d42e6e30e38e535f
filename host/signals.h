// EndSignals: the signals that stop the daemon. All threads block these signals, and the main thread waits for them. So
// no signal handler interrupts a call (signal(7), sigwaitinfo(2)), and waiting causes no wake-ups.
#pragma once

#include <csignal>

#include <chrono>

namespace Vexo::Host {

// Handles SIGTERM, SIGINT and SIGHUP.
class EndSignals {
public:
    // Blocks SIGTERM, SIGINT and SIGHUP, and ignores SIGPIPE. Call on the main thread before any other thread exists,
    // because new threads inherit both settings.
    EndSignals();

    // Blocks until one of the signals arrives, and returns its number.
    int Wait();
    // Blocks until one of the signals arrives, and returns its number. Returns 0 if no signal arrives within the time
    // limit.
    int WaitFor(std::chrono::milliseconds limit);

private:
    sigset_t signals_{};
};

}  // namespace Vexo::Host
