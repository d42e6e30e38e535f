// Announcements: devices that share a folder find each other by small files in it, one a device:
//   <network id>.json   {"version": 1, "network_id": "<64 hex>", "transport": "tcp", "address": "127.0.0.1:40117"}
// A file says only where to try: who answers there is found out by the handshake. Start, Withdraw and the destructor
// block on the disk; the callback runs on the starting thread and on the folder watcher's, one at a time, and must only
// hand over.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "platform/base/folder_watcher.h"
#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"
#include "platform/base/result.h"
#include "platform/softbus/transport/transport.h"

namespace Vexo::SoftBus {

inline constexpr size_t MAX_ANNOUNCEMENT_BYTES = 4096;

// In object files it must not have the name of announcement_channel.h's Announcement, which is laid out differently.
struct DeviceAnnouncement {
    std::string networkId;
    PeerAddress where;
};
using Announcement = DeviceAnnouncement;

// The text of the file, and back. The error says what is wrong with it.
std::string EncodeAnnouncement(const Announcement& announcement);
[[nodiscard]] Result<Announcement> DecodeAnnouncement(const std::string& text);

class Announcements : public NoCopyable {
public:
    // Another device's announcement came or changed (its place is set), or it is gone.
    using Changed = std::function<void(const std::string& networkId, const std::optional<PeerAddress>& where)>;

    // Announces own, reports what is there, and watches. Creates the folder if it is missing. A folder that is removed
    // later takes all announcements with it; when it is back, own is announced again.
    [[nodiscard]] static Result<std::unique_ptr<Announcements>> Start(const std::filesystem::path& folder,
                                                                      const Announcement& own, Changed changed);
    ~Announcements();

    // Removes the own announcement and stops watching. No callback runs after it returns. Idempotent.
    void Withdraw();

private:
    Announcements(std::filesystem::path folder, const Announcement& own, Changed changed);

    [[nodiscard]] Result<void> Announce() const;
    void ScanAgain() EXCLUDES(lookMutex_);
    void Scan() EXCLUDES(lookMutex_);
    void Look(const std::string& fileName) EXCLUDES(lookMutex_);

    const std::filesystem::path folder_;
    const Announcement own_;
    const std::string ownFileName_;
    const Changed changed_;
    Mutex lookMutex_;
    std::set<std::string> announced_ GUARDED_BY(lookMutex_);  // network ids that changed_ has named a place for
    std::unique_ptr<FolderWatcher> watcher_;
};

}  // namespace Vexo::SoftBus
