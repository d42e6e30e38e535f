// WifiContext: the objects that this machine's station and hotspot share. These are the client of NetworkManager, the
// list of the changes made in NetworkManager, and the Wi-Fi strand. The station and the hotspot work on this strand.
// Data that is used on the strand only needs no lock. Both own the WifiContext.
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "backends/linux/network_change_file.h"
#include "backends/linux/network_manager.h"
#include "platform/base/nocopyable.h"
#include "platform/tasks/elastic_pool.h"
#include "platform/tasks/timers.h"

namespace Vexo::Linux {

// How long DisableHotspot and Stop may block if NetworkManager does not answer. The same limit applies to ChangeKey
// while it turns off the hotspot.
inline constexpr std::chrono::seconds WIFI_CALL_LIMIT{10};

class WifiContext : public NoCopyable, public std::enable_shared_from_this<WifiContext> {
public:
    using Deadline = SteadyTime;

    // answerLimit: the limit of one call to NetworkManager. If a call that makes a change gets no reply, the change is
    // undone after another answerLimit.
    WifiContext(std::shared_ptr<Bus> bus, const std::filesystem::path& stateDir, std::chrono::milliseconds answerLimit,
                Tasks::Timers& clockAndTimers = Tasks::Timers::System())
        : timers(clockAndTimers),
          manager(std::move(bus), answerLimit, timers),
          networkChanges(stateDir),
          answerLimit_(answerLimit)
    {
    }

    // Runs the function work on the strand and returns the function's result (a WifiResult). Blocks at most for the
    // time budget. Returns WIFI_NO_ANSWER if the function has not returned by then. In this case, a function that has
    // not begun never runs. If a function that has begun returns WIFI_OK later, the function undo runs on the strand.
    // Returns WIFI_FAILED if the strand refuses the work (Strand::Post). Must not be called on the strand.
    int32_t RunAndWait(std::chrono::milliseconds budget, std::function<int32_t(Deadline)> work,
                       std::function<void()> undo = nullptr);

    // Blocks until the activation has the given state, and returns true. Returns false if the activation ends without
    // this state, or at the deadline. Must not be called on the strand.
    bool WaitFor(const std::string& activation, ActivationState state, Deadline deadline) const;

    // The next five functions must be called on the strand.

    // Ends the activation of the change, and deletes its profile if this program created the profile. Returns false if
    // NetworkManager does not answer. In this case a retry undoes the change and then restores the radio's previous
    // network.
    bool Leave(const NetworkChange& change);
    // Calls Leave. If Leave succeeds, removes the change from the list of recorded changes.
    bool Undo(const NetworkChange& change);
    // Call this function if the call that makes or undoes the change got no reply. It records the change. A timer
    // retries until NetworkManager answers, and then the change is undone.
    void UndoLater(NetworkChange change);
    // Undoes the changes that an earlier run left, and those that this run made before NetworkManager restarted.
    void UndoAll();
    // Activates the network that the radio had before the change, unless the radio now has another activation. radio:
    // the path of the radio; empty: the first idle radio. Returns the path of the new activation. Returns an empty text
    // if nothing was activated.
    std::string Restore(const NetworkChange& change, const std::string& radio);

    Tasks::Timers& timers;
    const NetworkManager manager;
    NetworkChangeFile networkChanges;  // used on the strand only
    bool isRunning = false;            // whether NetworkManager runs; used on the strand only
    Tasks::Strand strand;

private:
    // Returns the path of the change's activation, or an empty text if the activation has ended.
    [[nodiscard]] Result<std::string> ActivationLeft(const NetworkChange& change) const;
    void UndoRemaining(const NetworkChange& change);
    void UndoUnanswered();

    const std::chrono::milliseconds answerLimit_;
    Tasks::Timer timer_;  // used on the strand only
};

// Returns the UUID of the profile with which the radio is connected as a station. Returns an empty text if the radio is
// not connected, or if this program created the profile.
[[nodiscard]] Result<std::string> NetworkOf(const NetworkManager& manager, const WifiRadio& radio);

}  // namespace Vexo::Linux
