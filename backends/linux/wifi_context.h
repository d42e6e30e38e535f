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

// A Wi-Fi call answers within this even when NetworkManager does not.
inline constexpr std::chrono::seconds WIFI_CALL_LIMIT{10};

class WifiContext : public NoCopyable {
public:
    WifiContext(std::shared_ptr<Bus> bus, const std::filesystem::path& stateDir)
        : manager(std::move(bus)), own(stateDir)
    {
    }

    // Runs work on the strand and blocks for its result: a WifiResult, WIFI_NO_ANSWER when it takes too long (it still
    // runs then). Not from the strand.
    int32_t RunAndWait(std::function<int32_t()> work);

    // These are called on the strand.
    // Ends the activation and, when it is ours, the profile, and forgets the change.
    void TakeBack(const NetworkChange& change);
    // Takes back what an earlier run, or an earlier NetworkManager, was left with.
    void TakeBackAll();
    // Activates the network that the radio had before, unless it is busy with another than the change's own. An empty
    // radio: the first idle one.
    void Restore(const NetworkChange& change, const std::string& radio);
    // The UUID of the network that the radio is a station of, empty when there is none or it is ours.
    std::string NetworkOf(const WifiRadio& radio) const;

    const NetworkManager manager;
    OwnProfiles own;         // touched on the strand only
    bool isRunning = false;  // NetworkManager; touched on the strand only
    Tasks::Strand strand;
};

// Writes the system event of a hotspot that this daemon closed; reason: of ShareClosed.
void ReportShareClosed(const std::string& reason);

}  // namespace Vexo::Linux
