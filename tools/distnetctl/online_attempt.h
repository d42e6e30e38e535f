// Attempt: runs one attempt of the daemon's to get this device online, shows each step as it ends, and cancels the
// attempt at the limit of --timeout. CancelOnInterrupt does the same for Ctrl-C. Main thread only; Run blocks until the
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

// The steps of an attempt as lines, each once, in the order of their ends: a step that waits for a device's owner runs
// beside the steps of other devices.
class StepLog {
public:
    explicit StepLog(StepStyle style);

    // The lines of the steps that have ended since the last call.
    std::vector<std::string> Take(const Host::OnlineAnswer& attempt);
    // What the attempt waits for, if that is news. isEager: also when the step has run for less than SLOW_STEP.
    std::string TakeWait(const Host::OnlineAnswer& attempt, bool isEager);

private:
    bool IsSaidElsewhere(const Host::OnlineStep& step);
    std::string WaitOf(const Host::OnlineAnswer& attempt, bool isEager) const;

    const StepStyle style_;
    std::vector<bool> isShown_;    // by step
    std::string device_;           // network id of the last line
    std::string waitedFor_;        // what TakeWait returned last, after the last line
    std::set<std::string> asked_;  // network ids of devices whose owner is asked, as was said
};

struct AttemptWish {
    Host::OnlineMode mode = Host::OnlineMode::UP;
    std::vector<std::string> networkIds;
    bool isForOne = false;  // one device is meant
    bool showsSteps = true;
};

class Attempt {
public:
    // Receives each state of the attempt, and when it came.
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

// From now on Ctrl-C and SIGTERM cancel the attempt of this process, print what was taken back on both devices, and end
// the process. A second one ends it at once; the daemon then goes on taking back.
void CancelOnInterrupt(const GlobalOptions& options, Output& output);

}  // namespace Vexo::Ctl
