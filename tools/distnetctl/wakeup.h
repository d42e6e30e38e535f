// Wakeup: what ends a wait of `watch`: the time, a key, or a signal. Signals are blocked and read from a descriptor
// (signalfd(2)), so that none is lost and no handler runs. Main thread only, before any other thread exists.
#pragma once

#include "platform/base/clock.h"
#include "platform/base/nocopyable.h"
#include "platform/base/unique_fd.h"

namespace Vexo::Ctl {

enum class WakeReason {
    TIME,
    KEY,      // any but q
    RESIZED,  // the terminal has another size
    SUSPEND,  // Ctrl-Z: the process is to stop itself
    QUIT,     // q, Ctrl-C, SIGTERM, or the terminal went away
};

class Wakeup : public NoCopyable {
public:
    // keys: standard input is a terminal, and keys and its signals count. Else only SIGINT, SIGTERM and SIGHUP do.
    explicit Wakeup(bool keys);

    // Blocks until something happens, at the latest until the deadline.
    WakeReason Wait(SteadyTime deadline);

private:
    WakeReason ReadSignal() const;
    WakeReason ReadKeys();

    UniqueFd signals_;
    bool keys_;
};

}  // namespace Vexo::Ctl
