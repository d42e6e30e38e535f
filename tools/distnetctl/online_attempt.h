// Attempt: makes the daemon try to get this device online, and shows each step when the step has ended. Cancels the
// attempt when the time of --timeout has passed. CancelOnInterrupt makes Ctrl-C cancel the attempt. Main thread only.
// Run blocks until the attempt has ended.
#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/base/clock.h"
#include "tools/distnetctl/commands.h"
#include "tools/distnetctl/online_view.h"

namespace Vexo::Ctl {

inline constexpr std::chrono::seconds SLOW_STEP{2};

// Formats the steps of an attempt as lines. A step is returned once, after it has ended. Steps can overlap: while the
// owner of one device is asked for permission, the attempt tries other devices.
class StepLog {
public:
    explicit StepLog(StepStyle style);

    // Returns lines for the steps that have ended since the previous call.
    std::vector<std::string> Take(const Host::OnlineAnswer& attempt);
    // Returns what the attempt waits for. The text is empty if the attempt does not wait, or if the text has not
    // changed since the previous call. isEager: if false, steps that have run for less than SLOW_STEP are ignored.
    std::string TakeWait(const Host::OnlineAnswer& attempt, bool isEager);

private:
    bool NeedsNoLine(const Host::OnlineStep& step);
    std::string WaitOf(const Host::OnlineAnswer& attempt, bool isEager) const;

    const StepStyle style_;
    std::vector<bool> isShown_;    // true: the step with this index was shown
    std::string device_;           // network id of the device in the last line
    std::string waitedFor_;        // the last result of TakeWait; empty after a new line
    std::set<std::string> asked_;  // network ids of the devices for which a line has shown that their owner is asked
};

struct AttemptWish {
    Host::OnlineMode mode = Host::OnlineMode::UP;
    std::vector<std::string> networkIds;
    bool isForOne = false;  // true: the user named exactly one device
    bool showsSteps = true;
};

class Attempt {
public:
    // Called for each answer of the daemon. Run asks at least every SLOW_STEP, so an answer may have no change.
    using Observer = std::function<void(const Host::OnlineAnswer& attempt)>;

    Attempt(const GlobalOptions& options, Output& output, Client::DistNetClient& client, AttemptWish wish);

    Outcome Run(const Observer& observer = nullptr);

private:
    void Show();
    std::chrono::milliseconds Left() const;
    Outcome TimedOut();

    const GlobalOptions& options_;
    Output& output_;
    Client::DistNetClient& client_;
    const AttemptWish wish_;
    const SteadyTime began_;
    StepLog log_;
    Host::OnlineAnswer now_;
};

// After this call, Ctrl-C or SIGTERM cancels the attempt of this process, prints what was undone on both devices, and
// ends the process. A second signal ends the process at once. The daemon still undoes the attempt.
void CancelOnInterrupt(const GlobalOptions& options, Output& output);

}  // namespace Vexo::Ctl
