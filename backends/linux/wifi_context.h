// WifiContext: the objects that this machine's station and hotspot share: the access to NetworkManager, the list of the
// changes made there, and the strand on which both work without locks. Owned by both.
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

// How long turning off the hotspot, or Stop, blocks at most if NetworkManager does not answer.
inline constexpr std::chrono::seconds WIFI_CALL_LIMIT{10};

class WifiContext : public NoCopyable, public std::enable_shared_from_this<WifiContext> {
public:
    using Deadline = SteadyTime;

    // answerLimit: the limit of one call to NetworkManager. After a call without a reply, also the pause before its
    // change is undone.
    WifiContext(std::shared_ptr<Bus> bus, const std::filesystem::path& stateDir, std::chrono::milliseconds answerLimit,
                Tasks::Timers& clockAndTimers = Tasks::Timers::System())
        : timers(clockAndTimers), manager(std::move(bus), answerLimit, timers), own(stateDir), answerLimit_(answerLimit)
    {
    }

    // Runs work on the strand and blocks for its result (a WifiResult), at most for the budget. After that it returns
    // WIFI_NO_ANSWER: work that has not begun is dropped, and work that succeeds later is followed by undo. Must not be
    // called on the strand. Returns WIFI_FAILED if the strand has no thread.
    int32_t RunAndWait(std::chrono::milliseconds budget, std::function<int32_t(Deadline)> work,
                       std::function<void()> undo = nullptr);

    // Blocks until the activation has that state. Returns false if the activation ends in another state, or at the
    // deadline. Must not be called on the strand.
    bool WaitFor(const std::string& activation, ActivationState state, Deadline deadline) const;

    // The next five functions must be called on the strand.

    // Ends the activation, and deletes the profile if it is ours. Returns false if NetworkManager does not answer: the
    // change is then undone later, and after that the network that the radio had before is restored.
    bool Leave(const NetworkChange& change);
    // As Leave, and removes the change from the list when Leave has succeeded.
    bool Undo(const NetworkChange& change);
    // Schedules a change whose call got no reply: retries until NetworkManager answers, then undoes the change.
    void UndoLater(NetworkChange change);
    // Undoes the changes that an earlier run left, and those made before NetworkManager restarted.
    void UndoAll();
    // Activates the network that the radio had before the change, unless the radio now has another activation. radio:
    // its path; empty: the first idle radio. Returns the path of the new activation; empty: none.
    std::string Restore(const NetworkChange& change, const std::string& radio);

    Tasks::Timers& timers;
    const NetworkManager manager;
    OwnProfiles own;         // used on the strand only
    bool isRunning = false;  // whether NetworkManager runs; used on the strand only
    Tasks::Strand strand;

private:
    // Returns the path of the change's activation; empty if the activation has ended.
    [[nodiscard]] Result<std::string> ActivationLeft(const NetworkChange& change) const;
    void UndoLeft(const NetworkChange& change);
    void UndoUnanswered();

    const std::chrono::milliseconds answerLimit_;
    Tasks::Timer timer_;  // used on the strand only
};

// Returns the UUID of the profile with which the radio is connected as a station; empty if the radio is not connected,
// or if the profile is ours.
[[nodiscard]] Result<std::string> NetworkOf(const NetworkManager& manager, const WifiRadio& radio);

}  // namespace Vexo::Linux
