// KnownDevices: the devices of this account that have passed a handshake and sent HELLO. It holds their names and ids,
// the time of the last contact, and the addresses at which they were reached. If UseFile was called, the object also
// holds the devices of earlier runs. The reactor thread writes, any thread reads. Only UseFile and Flush block. The
// file is written on a strand of KnownDevices. If the account has a state (account/account_view.h), exactly the members
// in this state are known, also members that this device has never met. Announcements: sightings.h.
//
// The file (mode 0600, replaced by rename):
//   {"version": 1, "account": "<64 hex>", "devices": [
//     {"network_id": "<64 hex>", "device_id": "<64 hex>", "name": "phone", "type": 1,
//      "reached_ms": 1795347000000, "reached_over": "tcp",
//      "addresses": [{"transport": "tcp", "address": "192.0.2.7:40117"}]}]}
// Flush writes the file if something has changed. The HELLO of a device causes a write if the device is new, if its
// name, type, id or addresses have changed, or if the last write was more than a minute ago.
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

// This suffix is appended to the name of a file that cannot be used.
inline constexpr const char* UNUSABLE_SUFFIX = ".unusable";
// If more devices are known, the device with the oldest last contact is forgotten. Devices with recent contact are
// never forgotten.
inline constexpr size_t MAX_KNOWN_DEVICES = 256;
inline constexpr size_t MAX_KNOWN_ADDRESSES = 8;  // of one device

// A device counts as reachable for this long after the last contact with the device.
inline constexpr std::chrono::minutes CONTACT_LIFE{5};

class KnownDevices : public NoCopyable {
public:
    // account: may be null; must outlive the object.
    explicit KnownDevices(const Clock& clock = Clock::System(), const AccountView* account = nullptr)
        : clock_(clock), account_(account)
    {
    }
    // Blocks until a running write is done.
    ~KnownDevices();

    // Loads the devices of the account from the file, and saves changes to the file from now on. account: the network
    // id of the account's key. Call at most once, before any other call. Without this call the devices are in memory
    // only. Blocks on the disk. A file that is damaged or has a later version is renamed and logged. A file that cannot
    // be read is logged and never written; the devices are then in memory only. The devices in a file of another
    // account are forgotten.
    void UseFile(const std::filesystem::path& file, const std::string& account) EXCLUDES(mutex_);

    // Records the HELLO of a device whose certificate was verified. transport: the name of the transport over which the
    // HELLO arrived. The addresses in the HELLO are stored before the addresses that were known already. If there are
    // then more than MAX_KNOWN_DEVICES devices, some are forgotten. Returns the network ids of the forgotten devices.
    std::vector<std::string> AddOrUpdate(const std::string& networkId, const Hello& hello, const std::string& transport)
        EXCLUDES(mutex_);
    // Records that the device has sent data. ago: the time since the data arrived. Does nothing for an unknown device.
    // The device stays away if MarkAway was called after the data arrived.
    void RecordContact(const std::string& networkId, std::chrono::steady_clock::duration ago) EXCLUDES(mutex_);
    // Call when the device has sent GOODBYE, or when a dial reached the device at none of its addresses. triedFor: how
    // long the dial took; 0 after GOODBYE. Contact before the dial no longer counts as recent. Does nothing if there
    // was contact during the dial.
    void MarkAway(const std::string& networkId, std::chrono::steady_clock::duration triedFor) EXCLUDES(mutex_);

    bool IsKnown(const std::string& networkId) const EXCLUDES(mutex_);
    // Returns the network id that begins with idPrefix, of a device that this device has met. Returns an empty string
    // if there is no such device.
    std::string FindByPrefix(const std::string& idPrefix) const EXCLUDES(mutex_);
    bool HadRecentContact(const std::string& networkId) const EXCLUDES(mutex_);
    // Returns the addresses of the device. The addresses from its last HELLO come first. The list is empty for an
    // unknown device.
    std::vector<PeerAddress> Addresses(const std::string& networkId) const EXCLUDES(mutex_);
    // Sets an additional IP address at which the device may be reached in this run. Replaces the address that an
    // earlier call has set. An empty ipAddress removes that address.
    void SuggestHost(const std::string& networkId, const std::string& ipAddress) EXCLUDES(mutex_);
    std::string SuggestedHost(const std::string& networkId) const EXCLUDES(mutex_);
    // Returns all known devices that were met, in no particular order. Node::online is true for a device with recent
    // contact. Node::clockAhead is set for each device that sent HELLO in this run, even if the device is away now.
    std::vector<Node> List() const EXCLUDES(mutex_);

    // Writes changes to the file, and blocks until the write is done.
    void Flush() EXCLUDES(mutex_);

private:
    struct Entry {
        Node node;  // its members online, address and clockAhead are set only in the result of List
        std::vector<PeerAddress> addresses;
        // lastContact and awayAt are times of Clock::BootNow. They are empty before the first contact or the first
        // MarkAway in this run.
        std::optional<SteadyTime> lastContact;
        std::optional<SteadyTime> awayAt;
        // The time on the device's clock minus Clock::BootNow, at the device's last HELLO. Empty before the device's
        // first HELLO in this run.
        std::optional<std::chrono::milliseconds> clockOverSteady{};
    };

    Trust::SignedStatePtr State() const { return account_ != nullptr ? account_->State() : nullptr; }
    bool IsMember(const std::string& networkId) const { return account_ == nullptr || account_->IsMember(networkId); }
    bool HasRecentContact(const Entry& entry) const;
    void SetLastContact(Entry& entry, SteadyTime when) REQUIRES(mutex_);
    std::vector<std::string> ForgetOldest() REQUIRES(mutex_);
    void Save() REQUIRES(mutex_);
    void Write() EXCLUDES(mutex_);  // runs on the strand

    const Clock& clock_;
    const AccountView* const account_;
    std::filesystem::path file_;  // constant after UseFile; empty: the devices are in memory only
    std::string accountId_;       // constant after UseFile
    mutable Mutex mutex_;
    std::map<std::string, Entry> entries_ GUARDED_BY(mutex_);
    std::map<std::string, std::string> suggestedHosts_ GUARDED_BY(mutex_);  // of known devices, by network id
    bool isChanged_ GUARDED_BY(mutex_) = false;  // something has changed since the last write
    bool isQueued_ GUARDED_BY(mutex_) = false;   // a write waits on the strand
    SteadyTime savedAt_ GUARDED_BY(mutex_){};    // when a write was last queued
    bool hasFailed_ = false;                     // the last write failed; used on the strand only
    Tasks::Strand strand_;
};

// Returns the milliseconds since 1970-01-01 UTC.
int64_t MillisecondsOf(WallTime time);

}  // namespace Vexo::SoftBus
