// WifiContext: what this machine's station and hotspot share: the way to NetworkManager, the record of what was changed
// there, and the strand on which both do their work, so that neither needs a lock for it. Owned by both.
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "backends/linux/network_manager.h"
#include "backends/linux/own_profiles.h"
#include "platform/base/nocopyable.h"
#include "platform/tasks/elastic_pool.h"
#include "platform/tasks/timers.h"

namespace Vexo::Linux {

// A Wi-Fi call that no request makes answers within this even when NetworkManager does not.
inline constexpr std::chrono::seconds WIFI_CALL_LIMIT{10};

class WifiContext : public NoCopyable, public std::enable_shared_from_this<WifiContext> {
public:
    using Deadline = SteadyTime;

    // answerLimit: how long NetworkManager may take for one answer, and how long it is left in peace after none.
    WifiContext(std::shared_ptr<Bus> bus, const std::filesystem::path& stateDir, std::chrono::milliseconds answerLimit,
                Tasks::Timers& clockAndTimers = Tasks::Timers::System())
        : timers(clockAndTimers), manager(std::move(bus), answerLimit, timers), own(stateDir), answerLimit_(answerLimit)
    {
    }

    // Runs work on the strand and blocks for its result, a WifiResult, at most for the budget: then WIFI_NO_ANSWER, and
    // work that has not begun by then never does. Work that succeeds after its caller has left is undone. Not from the
    // strand.
    int32_t RunAndWait(std::chrono::milliseconds budget, std::function<int32_t(Deadline)> work,
                       std::function<void()> undo = nullptr);

    // These are called on the strand.
    // Ends the activation and, when it is ours, the profile. False when NetworkManager does not answer: then it is
    // tried again, and the network that the radio had before is restored afterwards.
    bool Leave(const NetworkChange& change);
    // The same, and forgets the change once that is done.
    bool TakeBack(const NetworkChange& change);
    // For a change of which nobody knows whether NetworkManager made it: takes it back once that answers.
    void TakeBackLater(NetworkChange change);
    // Takes back what an earlier run, or an earlier NetworkManager, was left with.
    void TakeBackAll();
    // Activates the network that the radio had before, unless it is busy with another than the change's own. An empty
    // radio: the first idle one.
    void Restore(const NetworkChange& change, const std::string& radio);

    Tasks::Timers& timers;
    const NetworkManager manager;
    OwnProfiles own;         // touched on the strand only
    bool isRunning = false;  // NetworkManager; touched on the strand only
    Tasks::Strand strand;

private:
    // The activation that is left of the change, empty when there is none any more.
    [[nodiscard]] Result<std::string> ActivationLeft(const NetworkChange& change) const;
    void TakeBackLeft(const NetworkChange& change);
    void TakeBackUnanswered();

    const std::chrono::milliseconds answerLimit_;
    Tasks::Timer timer_;  // touched on the strand only
};

// The UUID of the network that the radio is a station of, empty when there is none or it is ours.
[[nodiscard]] Result<std::string> NetworkOf(const NetworkManager& manager, const WifiRadio& radio);

// Writes the system event of a hotspot that this daemon closed; reason: of ShareClosed.
void ReportShareClosed(const std::string& reason);

}  // namespace Vexo::Linux
