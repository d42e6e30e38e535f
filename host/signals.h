// Signals of the daemon. They are blocked in every thread and taken one by one where the main thread waits, so that no
// handler ever interrupts a call (signal(7), sigwaitinfo(2)); waiting costs no wake-up.
#pragma once

#include <csignal>

#include <chrono>

namespace Vexo::Host {

// The signals that end the daemon: SIGTERM, SIGINT, SIGHUP.
class EndSignals {
public:
    // Blocks them and ignores SIGPIPE. On the main thread, before any other thread exists: threads inherit it.
    EndSignals();

    // Blocks until one arrives; returns its number.
    int Wait();
    // The same, but 0 when none has arrived within limit.
    int WaitFor(std::chrono::milliseconds limit);

private:
    sigset_t signals_{};
};

}  // namespace Vexo::Host
