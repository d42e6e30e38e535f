// OwnProfiles: the list of the changes that this daemon has made in NetworkManager and must undo: profiles that it
// added, hotspots that it turned on. Each change is written to network-changes.json in the state folder (mode 0600, no
// secrets) before it is made, so that the daemon can undo it after a crash. Used on the Wi-Fi strand only; blocks on
// the disk.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "platform/base/result.h"

namespace Vexo::Linux {

inline constexpr const char* NETWORK_CHANGES_FILE = "network-changes.json";

struct NetworkChange {
    std::string profile;     // the profile's UUID
    std::string activation;  // its object path; empty until NetworkManager has accepted it
    std::string previous;    // the UUID of the profile that was active on the radio before; empty: none
    bool isHotspot = false;
    bool isOurProfile = false;  // undone by deleting the profile too, not only by ending its activation
    bool isOver = false;        // to be undone as soon as NetworkManager answers; not written to the file
};

class OwnProfiles {
public:
    // Reads the changes that an earlier run left; a damaged file is logged and counts as empty.
    explicit OwnProfiles(const std::filesystem::path& stateDir);

    const std::vector<NetworkChange>& Changes() const { return changes_; }
    // Adds the change, or replaces the change of the same profile. A write error is logged.
    void Record(const NetworkChange& change);
    void Forget(const std::string& profile);

private:
    void Save() const;

    const std::filesystem::path file_;
    std::vector<NetworkChange> changes_;
};

}  // namespace Vexo::Linux
