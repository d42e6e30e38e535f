// The signals that end the daemon. They are blocked in every thread, and the main thread waits for them, so that no
// handler interrupts a call (signal(7), sigwaitinfo(2)) and waiting causes no wake-ups.
#pragma once

#include <csignal>

#include <chrono>

namespace Vexo::Host {

// SIGTERM, SIGINT and SIGHUP.
class EndSignals {
public:
    // Blocks these signals and ignores SIGPIPE. Call on the main thread before any other thread exists, because threads
    // inherit both.
    EndSignals();

    // Blocks until one arrives; returns its number.
    int Wait();
    // The same, but returns 0 if none arrives within limit.
    int WaitFor(std::chrono::milliseconds limit);

private:
    sigset_t signals_{};
};

}  // namespace Vexo::Host
