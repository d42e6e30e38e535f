// OwnProfiles: what this daemon has changed in NetworkManager and must take back: profiles that it added, hotspots that
// it turned on. It is kept in network-changes.json of the state folder (mode 0600, no secret in it) before the change
// is made, so that a daemon that crashed takes it back at its next start. Used on the Wi-Fi strand only; blocks on the
// disk.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "platform/base/result.h"

namespace Vexo::Linux {

inline constexpr const char* NETWORK_CHANGES_FILE = "network-changes.json";

struct NetworkChange {
    std::string profile;     // the profile's UUID
    std::string activation;  // its object path, empty until NetworkManager has accepted
    std::string previous;    // the UUID of the profile that the radio had before, empty when it had none
    bool isHotspot = false;
    bool isOurProfile = false;  // the profile is deleted too; else only its activation ends
    bool isOver = false;        // taken back once NetworkManager answers; not kept in the file
};

class OwnProfiles {
public:
    // Reads what an earlier run left; a damaged file is logged and counts as empty.
    explicit OwnProfiles(const std::filesystem::path& stateDir);

    const std::vector<NetworkChange>& Changes() const { return changes_; }
    // Adds the change, or replaces the one of that profile. A failure to write is logged.
    void Note(const NetworkChange& change);
    void Forget(const std::string& profile);

private:
    void Save() const;

    const std::filesystem::path file_;
    std::vector<NetworkChange> changes_;
};

}  // namespace Vexo::Linux
