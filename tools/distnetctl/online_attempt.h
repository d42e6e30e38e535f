// Attempt: makes the daemon try to get this device online, shows each step when it ends, and cancels the attempt when
// the time of --timeout has passed. CancelOnInterrupt cancels it on Ctrl-C. Main thread only; Run blocks until the
// attempt has ended.
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

// Formats the steps of an attempt as lines. Each step is returned once, when it has ended. Steps can overlap: while one
// step waits for a device's owner, the attempt tries other devices.
class StepLog {
public:
    explicit StepLog(StepStyle style);

    // Returns the lines of the steps that have ended since the last call.
    std::vector<std::string> Take(const Host::OnlineAnswer& attempt);
    // Returns what the attempt waits for. Returns an empty text if there is nothing, or nothing new since the last
    // call. isEager: also for a step that has run for less than SLOW_STEP.
    std::string TakeWait(const Host::OnlineAnswer& attempt, bool isEager);

private:
    bool NeedsNoLine(const Host::OnlineStep& step);
    std::string WaitOf(const Host::OnlineAnswer& attempt, bool isEager) const;

    const StepStyle style_;
    std::vector<bool> isShown_;    // by index of the step
    std::string device_;           // network id of the device of the last line
    std::string waitedFor_;        // what TakeWait has returned since the last line
    std::set<std::string> asked_;  // network ids of devices with a line that their owner is asked
};

struct AttemptWish {
    Host::OnlineMode mode = Host::OnlineMode::UP;
    std::vector<std::string> networkIds;
    bool isForOne = false;  // the user has named one device
    bool showsSteps = true;
};

class Attempt {
public:
    // Called with each new state of the attempt.
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

// From now on Ctrl-C and SIGTERM cancel the attempt of this process, print what was undone on both devices, and end the
// process. A second signal ends the process at once; the daemon continues to undo the attempt.
void CancelOnInterrupt(const GlobalOptions& options, Output& output);

}  // namespace Vexo::Ctl
