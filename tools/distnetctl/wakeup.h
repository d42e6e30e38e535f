// Wakeup: `watch` waits with it for a point in time, a key or a signal. Signals are blocked and read from a descriptor
// (signalfd(2)), so that no signal is lost and no handler runs. Main thread only; create the object before any other
// thread exists.
#pragma once

#include "platform/base/clock.h"
#include "platform/base/nocopyable.h"
#include "platform/base/unique_fd.h"

namespace Vexo::Ctl {

enum class WakeReason {
    TIME,
    KEY,      // any key but q
    RESIZED,  // the terminal has another size
    SUSPEND,  // Ctrl-Z: the caller must suspend the process
    QUIT,     // q, Ctrl-C, SIGTERM, or the terminal went away
};

class Wakeup : public NoCopyable {
public:
    // keys: also wait for the signals of the terminal, and for keys if standard input is a terminal. Without keys, only
    // SIGINT, SIGTERM, SIGHUP and the deadline end a wait.
    explicit Wakeup(bool keys);

    // Blocks until a key or signal arrives, the deadline passes, or standard output is closed (QUIT).
    WakeReason Wait(SteadyTime deadline);

private:
    WakeReason ReadSignal() const;
    WakeReason ReadKeys();

    UniqueFd signals_;
    bool keys_;
};

}  // namespace Vexo::Ctl
