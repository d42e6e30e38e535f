// KnownDevices: the devices of this account that have passed a handshake and said HELLO, in this run or, with a file,
// in an earlier one: who they are, whether they are online, and where they can be reached. The reactor writes, any
// thread reads. Only UseFile and Flush block; the file is written on a strand of its own. Who finds devices:
// presence.h.
//
// The file (mode 0600, replaced by rename):
//   {"version": 1, "account": "<64 hex>", "devices": [
//     {"network_id": "<64 hex>", "device_id": "<64 hex>", "name": "phone", "type": 1,
//      "reached_ms": 1795347000000, "reached_over": "tcp",
//      "addresses": [{"transport": "tcp", "address": "192.0.2.7:40117"}]}]}
// It is written when a device is new, when its name, type, id or addresses have changed, when it goes offline, and by
// Flush.
#pragma once

#include <chrono>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"
#include "platform/softbus/link/frame.h"
#include "platform/softbus/softbus_service.h"
#include "platform/softbus/transport/transport.h"
#include "platform/tasks/elastic_pool.h"

namespace Vexo::SoftBus {

// What a file that cannot be used is renamed to, after its own name.
inline constexpr const char* UNUSABLE_SUFFIX = ".unusable";
// Beyond it the device that is away and was not reached for longest is forgotten.
inline constexpr size_t MAX_KNOWN_DEVICES = 256;
inline constexpr size_t MAX_KNOWN_ADDRESSES = 8;  // of one device

class KnownDevices : public NoCopyable {
public:
    KnownDevices() = default;
    // Waits for a write under way.
    ~KnownDevices();

    // Takes over the devices that the file keeps for that account (the network id of its key) and keeps the file up to
    // date from now on. Once at most, before any other call; without it all is in memory only. Blocks on the disk. A
    // file that is damaged, or of a later version, is renamed and logged; devices of another account are forgotten.
    void UseFile(const std::filesystem::path& file, const std::string& account) EXCLUDES(mutex_);

    // A presence connection over that transport with that verified device opened, and said hello. The addresses of
    // hello go before those known already. True when the device was not online before.
    bool LinkUp(const std::string& networkId, const Hello& hello, const std::string& transport) EXCLUDES(mutex_);
    // One of its presence connections ended: how many are left. The device stays online until MarkOffline.
    size_t LinkDown(const std::string& networkId) EXCLUDES(mutex_);
    // Only when no presence connection is left. True when it was online before.
    bool MarkOffline(const std::string& networkId) EXCLUDES(mutex_);
    // A session to it opened at that address, which becomes its first.
    void Reached(const std::string& networkId, const PeerAddress& where) EXCLUDES(mutex_);

    bool IsKnown(const std::string& networkId) const EXCLUDES(mutex_);
    bool IsOnline(const std::string& networkId) const EXCLUDES(mutex_);
    // Where the device can be reached, best first; empty for an unknown one.
    std::vector<PeerAddress> Addresses(const std::string& networkId) const EXCLUDES(mutex_);
    // Online first, then by name.
    std::vector<Node> List() const EXCLUDES(mutex_);

    // Writes what has changed, the time of devices that are online included, and waits for that.
    void Flush() EXCLUDES(mutex_);

private:
    struct Entry {
        Node node;
        std::vector<PeerAddress> addresses;
        size_t links = 0;
        // The device's clock less the time that passes whatever is done to clocks (std::chrono::steady_clock).
        std::chrono::milliseconds clockOverSteady{0};
    };

    void ForgetOldest() REQUIRES(mutex_);
    void Save() REQUIRES(mutex_);
    void Write() EXCLUDES(mutex_);  // on the strand

    std::filesystem::path file_;  // constant after UseFile; empty: memory only
    std::string account_;         // the same
    mutable Mutex mutex_;
    std::map<std::string, Entry> entries_ GUARDED_BY(mutex_);
    bool isChanged_ GUARDED_BY(mutex_) = false;  // since the last write
    bool isQueued_ GUARDED_BY(mutex_) = false;   // a write waits on the strand
    bool hasFailed_ = false;                     // the last write; the strand's
    Tasks::Strand strand_;
};

// Milliseconds since 1970, UTC.
int64_t WallClockMs();

}  // namespace Vexo::SoftBus
