// KnownDevices: the devices of this account that have passed a handshake and said HELLO, in this run or, with a file,
// in an earlier one: who they are, when this device spoke with them last, and where they were reached. The reactor
// writes, any thread reads. Only UseFile and Flush block; the file is written on a strand of its own. Where devices
// announce themselves now: sightings.h.
//
// The file (mode 0600, replaced by rename):
//   {"version": 1, "account": "<64 hex>", "devices": [
//     {"network_id": "<64 hex>", "device_id": "<64 hex>", "name": "phone", "type": 1,
//      "reached_ms": 1795347000000, "reached_over": "tcp",
//      "addresses": [{"transport": "tcp", "address": "192.0.2.7:40117"}]}]}
// It is written when a device is new, when its name, type, id or addresses have changed, when the times in it are more
// than a minute old as a device says HELLO, and by Flush.
#pragma once

#include <chrono>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/base/clock.h"
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

// For how long a device counts as reachable after it was spoken with.
inline constexpr std::chrono::minutes CONTACT_LIFE{5};

class KnownDevices : public NoCopyable {
public:
    explicit KnownDevices(const Clock& clock = Clock::System()) : clock_(clock) {}
    // Waits for a write under way.
    ~KnownDevices();

    // Takes over the devices that the file keeps for that account (the network id of its key) and keeps the file up to
    // date from now on. Once at most, before any other call; without it all is in memory only. Blocks on the disk. A
    // file that is damaged, or of a later version, is renamed and logged; one that cannot be read is logged and left
    // alone, and all is in memory only; devices of another account are forgotten.
    void UseFile(const std::filesystem::path& file, const std::string& account) EXCLUDES(mutex_);

    // That verified device said hello over that transport. The addresses of hello go before those known already.
    // Returns the network ids of the devices that are forgotten because there are more than MAX_KNOWN_DEVICES now.
    std::vector<std::string> AddOrUpdate(const std::string& networkId, const Hello& hello, const std::string& transport)
        EXCLUDES(mutex_);
    // Something came from it that long ago. No change for an unknown device, or when it was marked away since.
    void RecordContact(const std::string& networkId, std::chrono::steady_clock::duration ago) EXCLUDES(mutex_);
    // It said goodbye, or was tried for that long at every address in vain: it does not count as spoken with recently
    // any more, unless it was spoken with in that time.
    void MarkAway(const std::string& networkId, std::chrono::steady_clock::duration triedFor) EXCLUDES(mutex_);

    bool IsKnown(const std::string& networkId) const EXCLUDES(mutex_);
    // The known device whose network id begins so; empty when there is none.
    std::string FindByPrefix(const std::string& idPrefix) const EXCLUDES(mutex_);
    bool HadRecentContact(const std::string& networkId) const EXCLUDES(mutex_);
    // Where the device can be reached, the last first; empty for an unknown one.
    std::vector<PeerAddress> Addresses(const std::string& networkId) const EXCLUDES(mutex_);
    // All, in no order. Online are those that were spoken with recently; clockAhead is there for the others too.
    std::vector<Node> List() const EXCLUDES(mutex_);

    // Writes what has changed and waits for that.
    void Flush() EXCLUDES(mutex_);

private:
    struct Entry {
        Node node;  // online, address and clockAhead are filled in by List
        std::vector<PeerAddress> addresses;
        // Both by Clock::BootNow; empty before the first time in this run.
        std::optional<SteadyTime> lastContact;
        std::optional<SteadyTime> awayAt;
        // The device's clock less Clock::BootNow, at its last HELLO. Empty before its first HELLO in this run.
        std::optional<std::chrono::milliseconds> clockOverSteady{};
    };

    bool HasRecentContact(const Entry& entry) const;
    void SetLastContact(Entry& entry, SteadyTime when) REQUIRES(mutex_);
    std::vector<std::string> ForgetOldest() REQUIRES(mutex_);
    void Save() REQUIRES(mutex_);
    void Write() EXCLUDES(mutex_);  // on the strand

    const Clock& clock_;
    std::filesystem::path file_;  // constant after UseFile; empty: memory only
    std::string account_;         // the same
    mutable Mutex mutex_;
    std::map<std::string, Entry> entries_ GUARDED_BY(mutex_);
    bool isChanged_ GUARDED_BY(mutex_) = false;  // since the last write
    bool isQueued_ GUARDED_BY(mutex_) = false;   // a write waits on the strand
    SteadyTime savedAt_ GUARDED_BY(mutex_){};    // when a write was last queued
    bool hasFailed_ = false;                     // the last write; the strand's
    Tasks::Strand strand_;
};

// Milliseconds since 1970, UTC.
int64_t MillisecondsOf(WallTime time);

}  // namespace Vexo::SoftBus
