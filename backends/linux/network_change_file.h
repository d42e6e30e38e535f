// NetworkChangeFile: the list of the changes that this program has made in NetworkManager and must undo. A change is an
// added profile or a hotspot that was turned on. Before a change is made, it is written to network-changes.json in the
// state folder, so that the program can undo it after a crash. The file has mode 0600 and contains no secrets. Used on
// the Wi-Fi strand only (wifi_context.h). Calls block on the disk.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "platform/base/result.h"

namespace Vexo::Linux {

inline constexpr const char* NETWORK_CHANGES_FILE = "network-changes.json";

struct NetworkChange {
    std::string profile;     // the profile's UUID
    std::string activation;  // the activation's path; empty until NetworkManager has accepted it
    std::string previous;    // the UUID of the profile that was active on the radio before; empty: none
    bool isHotspot = false;
    bool isOurProfile = false;  // to undo the change, the profile is deleted too
    // The following members are not written to the file.
    bool mustUndo = false;       // must be undone when NetworkManager answers
    bool isEndReported = false;  // the end of the hotspot was reported (ReportShareClosed)
};

class NetworkChangeFile {
public:
    // Reads the changes that an earlier run left in the file. A damaged file is logged and counts as empty.
    explicit NetworkChangeFile(const std::filesystem::path& stateDir);

    const std::vector<NetworkChange>& Pending() const { return changes_; }
    // Adds the change, or replaces the change of the same profile. A write error is logged.
    void Record(const NetworkChange& change);
    void Forget(const std::string& profile);

private:
    void Save() const;

    const std::filesystem::path file_;
    std::vector<NetworkChange> changes_;
};

}  // namespace Vexo::Linux
