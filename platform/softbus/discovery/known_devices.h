// KnownDevices: the devices of this account that have passed a handshake and sent HELLO, in this run or, with a file,
// in an earlier one: their names and ids, the time of the last contact, and the addresses at which they were reached.
// The reactor thread writes, any thread reads. Only UseFile and Flush block; the file is written on a strand of its
// own. With a state of the account (account/account_view.h) exactly its members are known, met or not.
// Announcements: sightings.h.
//
// The file (mode 0600, replaced by rename):
//   {"version": 1, "account": "<64 hex>", "devices": [
//     {"network_id": "<64 hex>", "device_id": "<64 hex>", "name": "phone", "type": 1,
//      "reached_ms": 1795347000000, "reached_over": "tcp",
//      "addresses": [{"transport": "tcp", "address": "192.0.2.7:40117"}]}]}
// The file is written by Flush, and on a HELLO of a device that is new, whose name, type, id or addresses have changed,
// or that comes more than a minute after the last write.
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
#include "platform/softbus/account/account_view.h"
#include "platform/softbus/link/frame.h"
#include "platform/softbus/softbus_service.h"
#include "platform/softbus/transport/transport.h"
#include "platform/tasks/elastic_pool.h"

namespace Vexo::SoftBus {

// Appended to the name of a file that cannot be used.
inline constexpr const char* UNUSABLE_SUFFIX = ".unusable";
// If more devices are known, the one that is away and whose last contact is oldest is forgotten.
inline constexpr size_t MAX_KNOWN_DEVICES = 256;
inline constexpr size_t MAX_KNOWN_ADDRESSES = 8;  // of one device

// A device counts as reachable for this long after the last contact with it.
inline constexpr std::chrono::minutes CONTACT_LIFE{5};

class KnownDevices : public NoCopyable {
public:
    // account may be null, and must outlive the object.
    explicit KnownDevices(const Clock& clock = Clock::System(), const AccountView* account = nullptr)
        : clock_(clock), account_(account)
    {
    }
    // Blocks until a running write is done.
    ~KnownDevices();

    // Loads the devices that the file holds for that account (the network id of its key), and keeps the file up to date
    // from now on. Call at most once, before any other call; without it the devices are in memory only. Blocks on the
    // disk. A damaged file, or one of a later version, is renamed and logged. A file that cannot be read is logged
    // and never written; the devices are in memory only then. Devices of another account are forgotten.
    void UseFile(const std::filesystem::path& file, const std::string& account) EXCLUDES(mutex_);

    // Records the HELLO of a verified device, which arrived over that transport. The addresses in the HELLO are put
    // before those that are known already. Returns the network ids of devices that were forgotten because there were
    // more than MAX_KNOWN_DEVICES.
    std::vector<std::string> AddOrUpdate(const std::string& networkId, const Hello& hello, const std::string& transport)
        EXCLUDES(mutex_);
    // Records contact with the device: it sent something, that long ago. Does nothing for an unknown device. Does not
    // undo a later MarkAway.
    void RecordContact(const std::string& networkId, std::chrono::steady_clock::duration ago) EXCLUDES(mutex_);
    // Call when the device sent GOODBYE, or when a dial that took triedFor reached it at no address: earlier contact no
    // longer counts as recent, except contact during that dial.
    void MarkAway(const std::string& networkId, std::chrono::steady_clock::duration triedFor) EXCLUDES(mutex_);

    bool IsKnown(const std::string& networkId) const EXCLUDES(mutex_);
    // The network id of the known device that was met and whose id begins with the prefix; empty if there is none.
    std::string FindByPrefix(const std::string& idPrefix) const EXCLUDES(mutex_);
    bool HadRecentContact(const std::string& networkId) const EXCLUDES(mutex_);
    // The addresses of the device, those of its last HELLO first; empty for an unknown device.
    std::vector<PeerAddress> Addresses(const std::string& networkId) const EXCLUDES(mutex_);
    // Sets an IP address at which the device may be reached in this run, in addition to its addresses. Empty: none.
    // Replaces an earlier one.
    void SuggestHost(const std::string& networkId, const std::string& ipAddress) EXCLUDES(mutex_);
    std::string SuggestedHost(const std::string& networkId) const EXCLUDES(mutex_);
    // Returns all known devices that were met, in no particular order. Node::online is true after recent contact;
    // Node::clockAhead is also set for devices that are away.
    std::vector<Node> List() const EXCLUDES(mutex_);

    // Writes changes to the file, and blocks until that is done.
    void Flush() EXCLUDES(mutex_);

private:
    struct Entry {
        Node node;  // online, address and clockAhead are filled in by List
        std::vector<PeerAddress> addresses;
        // Both are times of Clock::BootNow; empty before the first contact or MarkAway in this run.
        std::optional<SteadyTime> lastContact;
        std::optional<SteadyTime> awayAt;
        // The device's clock less Clock::BootNow, at its last HELLO. Empty before its first HELLO in this run.
        std::optional<std::chrono::milliseconds> clockOverSteady{};
    };

    Trust::SignedStatePtr State() const { return account_ != nullptr ? account_->State() : nullptr; }
    bool IsMember(const std::string& networkId) const { return account_ == nullptr || account_->IsMember(networkId); }
    bool HasRecentContact(const Entry& entry) const;
    void SetLastContact(Entry& entry, SteadyTime when) REQUIRES(mutex_);
    std::vector<std::string> ForgetOldest() REQUIRES(mutex_);
    void Save() REQUIRES(mutex_);
    void Write() EXCLUDES(mutex_);  // on the strand

    const Clock& clock_;
    const AccountView* const account_;
    std::filesystem::path file_;  // constant after UseFile; empty: memory only
    std::string accountId_;       // constant after UseFile
    mutable Mutex mutex_;
    std::map<std::string, Entry> entries_ GUARDED_BY(mutex_);
    std::map<std::string, std::string> suggestedHosts_ GUARDED_BY(mutex_);  // by network id; of known devices
    bool isChanged_ GUARDED_BY(mutex_) = false;                             // since the last write
    bool isQueued_ GUARDED_BY(mutex_) = false;                              // a write waits on the strand
    SteadyTime savedAt_ GUARDED_BY(mutex_){};                               // when a write was last queued
    bool hasFailed_ = false;                                                // the last write; used on the strand only
    Tasks::Strand strand_;
};

// Milliseconds since 1970, UTC.
int64_t MillisecondsOf(WallTime time);

}  // namespace Vexo::SoftBus
