// Wakeup: waits for a point in time, a key or a signal. The command `watch` uses it. Signals are blocked and read from
// a file descriptor (signalfd(2)), so that no signal is lost and no signal handler runs. Main thread only. Create the
// object before any other thread exists.
#pragma once

#include "platform/base/clock.h"
#include "platform/base/nocopyable.h"
#include "platform/base/unique_fd.h"

namespace Vexo::Ctl {

enum class WakeReason {
    TIME,
    KEY,      // a key other than q was pressed
    RESIZED,  // the size of the terminal has changed
    SUSPEND,  // Ctrl-Z was pressed: the caller must suspend the process
    QUIT,     // q or Ctrl-C, SIGTERM, or the terminal was closed
};

class Wakeup : public NoCopyable {
public:
    // keys: if true, Wait also returns for terminal signals such as SIGWINCH, and for keys if standard input is a
    // terminal. If false, Wait returns only at the deadline, after SIGINT, SIGTERM or SIGHUP, or if standard output is
    // closed.
    explicit Wakeup(bool keys);

    // Blocks until a key or a signal arrives, or until the deadline. Returns QUIT if standard output was closed.
    WakeReason Wait(SteadyTime deadline);

private:
    WakeReason ReadSignal() const;
    WakeReason ReadKeys();

    UniqueFd signals_;
    bool keys_;
};

}  // namespace Vexo::Ctl
