// WifiContext: what this machine's station and hotspot share: the access to NetworkManager, the record of what was
// changed there, and the strand on which both do their work without locks. Owned by both.
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

// How long turning off the hotspot, or a stop, blocks at most when NetworkManager does not answer.
inline constexpr std::chrono::seconds WIFI_CALL_LIMIT{10};

class WifiContext : public NoCopyable, public std::enable_shared_from_this<WifiContext> {
public:
    using Deadline = SteadyTime;

    // answerLimit: how long NetworkManager may take for one answer, and the pause after a missing answer before a
    // change is taken back.
    WifiContext(std::shared_ptr<Bus> bus, const std::filesystem::path& stateDir, std::chrono::milliseconds answerLimit,
                Tasks::Timers& clockAndTimers = Tasks::Timers::System())
        : timers(clockAndTimers), manager(std::move(bus), answerLimit, timers), own(stateDir), answerLimit_(answerLimit)
    {
    }

    // Runs work on the strand and blocks for its result (a WifiResult), at most for the budget. After that it returns
    // WIFI_NO_ANSWER: work that has not begun is dropped, and work that succeeds later is followed by undo. Not called
    // on the strand.
    int32_t RunAndWait(std::chrono::milliseconds budget, std::function<int32_t(Deadline)> work,
                       std::function<void()> undo = nullptr);

    // Blocks until the activation has that state; false if it ends in another one, or at the deadline. Not called on
    // the strand, which the changes need.
    bool WaitFor(const std::string& activation, ActivationState state, Deadline deadline) const;

    // These are called on the strand.
    // Ends the activation and, when it is ours, the profile. False when NetworkManager does not answer: then this is
    // retried, and the network that the radio had before is restored afterwards.
    bool Leave(const NetworkChange& change);
    // The same, and forgets the change once that is done.
    bool TakeBack(const NetworkChange& change);
    // For a change that NetworkManager did not answer: takes it back once NetworkManager answers.
    void TakeBackLater(NetworkChange change);
    // Takes back what an earlier run left, and what was changed before NetworkManager restarted.
    void TakeBackAll();
    // Activates the network that the radio had before, unless the radio is in use by another activation than the
    // change's. radio: empty for the first idle one. Returns the path of the new activation; empty: there is none.
    std::string Restore(const NetworkChange& change, const std::string& radio);

    Tasks::Timers& timers;
    const NetworkManager manager;
    OwnProfiles own;         // touched on the strand only
    bool isRunning = false;  // NetworkManager; touched on the strand only
    Tasks::Strand strand;

private:
    // The activation of the change; empty when it has ended.
    [[nodiscard]] Result<std::string> ActivationLeft(const NetworkChange& change) const;
    void TakeBackLeft(const NetworkChange& change);
    void TakeBackUnanswered();

    const std::chrono::milliseconds answerLimit_;
    Tasks::Timer timer_;  // touched on the strand only
};

// The UUID of the profile by which the radio is a station; empty when there is none or the profile is ours.
[[nodiscard]] Result<std::string> NetworkOf(const NetworkManager& manager, const WifiRadio& radio);

}  // namespace Vexo::Linux
