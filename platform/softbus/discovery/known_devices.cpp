#include "platform/softbus/discovery/known_devices.h"

#include <algorithm>
#include <limits>
#include <tuple>
#include <utility>

#include "platform/base/clock.h"
#include "platform/base/hex.h"
#include "platform/base/json_keys.h"
#include "platform/base/last_second.h"
#include "platform/softbus/softbus_log.h"

namespace Vexo::SoftBus {

int64_t MillisecondsOf(WallTime time)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
}

namespace {

constexpr int FORMAT_VERSION = 1;
constexpr mode_t FILE_MODE = 0600;
// A file with MAX_KNOWN_DEVICES devices is always smaller than this.
constexpr size_t MAX_FILE_BYTES = 16 * 1024 * 1024;
constexpr int64_t LAST_MS = LAST_SECOND * 1000;

// If only the times of contact have changed, the file is written at most this often.
constexpr std::chrono::minutes SAVE_PAUSE{1};

std::chrono::milliseconds SinceBoot(const Clock& clock)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(clock.BootNow().time_since_epoch());
}

// ---- The file

struct DeviceRecord {
    Node node;
    std::vector<PeerAddress> addresses;
};

struct FileRecord {
    int version = FORMAT_VERSION;
    std::string account{};
    std::vector<DeviceRecord> devices{};
};

JsonKind<std::string> IdKind()
{
    return TextKind("64 lower-case hex characters",
                    [](const std::string& text) { return IsHexId(text) ? "" : "is no such id"; });
}

const JsonKeys<FileRecord>& FileKeys()
{
    using Device = DeviceRecord;
    static const JsonKeys<PeerAddress> address({
        {"transport", FilledTextKind(), &PeerAddress::transport, Required()},
        {"address", FilledTextKind(), &PeerAddress::address, Required()},
    });
    static const JsonKeys<Device> device({
        {"network_id", IdKind(), [](Device& d) -> std::string& { return d.node.networkId; }, Required()},
        {"device_id", IdKind(), [](Device& d) -> std::string& { return d.node.deviceId; }, Required()},
        {"name", FilledTextKind(), [](Device& d) -> std::string& { return d.node.deviceName; }, Required()},
        {"type", WholeNumberKind<uint16_t>(0, std::numeric_limits<uint16_t>::max()),
         [](Device& d) -> uint16_t& { return d.node.deviceTypeId; }, Required()},
        {"reached_ms", WholeNumberKind<int64_t>(0, LAST_MS), [](Device& d) -> int64_t& { return d.node.lastSeenMs; },
         Required()},
        {"reached_over", FilledTextKind(), [](Device& d) -> std::string& { return d.node.transport; }, Required()},
        {"addresses", ListKind(address, "a list of addresses"), &Device::addresses, Required()},
    });
    static const JsonKeys<FileRecord> file({
        {"version", FormatVersionKind(FORMAT_VERSION), &FileRecord::version, Required()},
        {"account", IdKind(), &FileRecord::account, Required()},
        {"devices", ListKind(device, "a list of devices"), &FileRecord::devices, Required()},
    });
    return file;
}

void SetAside(const std::filesystem::path& file, const std::string& why)
{
    std::filesystem::path kept = file;
    kept += UNUSABLE_SUFFIX;
    std::error_code error;
    std::filesystem::rename(file, kept, error);
    QuviewDFX::LogError(LOG_SOFTBUS, "%{public}s; %{public}s, and devices of earlier runs are unknown until met again",
                        why, error ? "it cannot be renamed: " + error.message() : "it is now " + kept.string());
}

// ---- Addresses

bool Contains(const std::vector<PeerAddress>& addresses, const PeerAddress& wanted)
{
    return std::find(addresses.begin(), addresses.end(), wanted) != addresses.end();
}

bool SameInAnyOrder(const std::vector<PeerAddress>& one, const std::vector<PeerAddress>& other)
{
    return std::is_permutation(one.begin(), one.end(), other.begin(), other.end());
}

// Returns the fresh addresses, followed by the earlier addresses that are not among them. At most MAX_KNOWN_ADDRESSES
// in total.
std::vector<PeerAddress> FreshFirst(std::vector<PeerAddress> fresh, const std::vector<PeerAddress>& before)
{
    std::copy_if(before.begin(), before.end(), std::back_inserter(fresh),
                 [known = fresh](const PeerAddress& address) { return !Contains(known, address); });
    fresh.resize(std::min(fresh.size(), MAX_KNOWN_ADDRESSES));
    return fresh;
}

}  // namespace

KnownDevices::~KnownDevices()
{
    strand_.Drain();
}

void KnownDevices::UseFile(const std::filesystem::path& file, const std::string& account)
{
    const MutexLock lock(mutex_);
    file_ = file;
    accountId_ = account;
    std::error_code ignored;
    if (!std::filesystem::exists(file, ignored)) {
        return;
    }
    Result<FileRecord> record = FileKeys().Load(file, MAX_FILE_BYTES);
    if (!record && record.error().code == ErrorCode::MALFORMED) {
        SetAside(file, record.error().message);
        return;
    }
    if (!record) {
        // The content of the file may be good, so do not overwrite the file.
        file_.clear();
        QuviewDFX::LogError(LOG_SOFTBUS, "%{public}s; the devices in it are unknown, and others are not kept",
                            record.error().message);
        return;
    }
    if (record.value().account != account) {
        QuviewDFX::LogWarn(LOG_SOFTBUS, "%{public}s is of another account; its devices are forgotten", file.string());
        Save();
        return;
    }
    for (DeviceRecord& device : record.value().devices) {
        Entry& entry = entries_[device.node.networkId];
        entry.node = std::move(device.node);
        entry.addresses = FreshFirst({}, device.addresses);
        ForgetOldest();
    }
}

bool KnownDevices::HasRecentContact(const Entry& entry) const
{
    return entry.lastContact && (!entry.awayAt || *entry.awayAt < *entry.lastContact) &&
           clock_.BootNow() - *entry.lastContact < CONTACT_LIFE;
}

void KnownDevices::SetLastContact(Entry& entry, SteadyTime when)
{
    entry.lastContact = when;
    entry.node.lastSeenMs = MillisecondsOf(clock_.WallNow()) -
                            std::chrono::duration_cast<std::chrono::milliseconds>(clock_.BootNow() - when).count();
    isChanged_ = true;
}

std::vector<std::string> KnownDevices::AddOrUpdate(const std::string& networkId, const Hello& hello,
                                                   const std::string& transport)
{
    const MutexLock lock(mutex_);
    Entry& entry = entries_[networkId];
    const Entry before =
        std::exchange(entry, {.node = {.networkId = networkId,
                                       .deviceId = hello.deviceId,
                                       .deviceName = hello.deviceName,
                                       .deviceTypeId = hello.deviceTypeId,
                                       .transport = transport},
                              .addresses = FreshFirst(hello.addresses, entry.addresses),
                              .lastContact = {},
                              .awayAt = {},
                              .clockOverSteady = std::chrono::milliseconds(hello.clockMs) - SinceBoot(clock_)});
    SetLastContact(entry, clock_.BootNow());
    const auto shown = [](const Node& node) { return std::tie(node.deviceId, node.deviceName, node.deviceTypeId); };
    const bool isOther = shown(before.node) != shown(entry.node) || !SameInAnyOrder(before.addresses, entry.addresses);
    std::vector<std::string> forgotten = ForgetOldest();
    if (isOther || clock_.BootNow() - savedAt_ >= SAVE_PAUSE) {
        Save();
    }
    return forgotten;
}

void KnownDevices::RecordContact(const std::string& networkId, std::chrono::steady_clock::duration ago)
{
    const MutexLock lock(mutex_);
    const SteadyTime when = clock_.BootNow() - ago;
    if (const auto found = entries_.find(networkId); found != entries_.end() && found->second.lastContact < when) {
        SetLastContact(found->second, when);
    }
}

void KnownDevices::MarkAway(const std::string& networkId, std::chrono::steady_clock::duration triedFor)
{
    const MutexLock lock(mutex_);
    const SteadyTime now = clock_.BootNow();
    const auto found = entries_.find(networkId);
    if (found != entries_.end() && (!found->second.lastContact || *found->second.lastContact <= now - triedFor)) {
        found->second.awayAt = now;
    }
}

// Forgets the devices with the oldest contact until at most MAX_KNOWN_DEVICES are left. Keeps devices with recent
// contact.
std::vector<std::string> KnownDevices::ForgetOldest()
{
    std::vector<std::string> forgotten;
    while (entries_.size() > MAX_KNOWN_DEVICES) {
        const auto rank = [this](const auto& named) {
            return std::pair(HasRecentContact(named.second), named.second.node.lastSeenMs);
        };
        const auto oldest = std::min_element(entries_.begin(), entries_.end(),
                                             [&](const auto& a, const auto& b) { return rank(a) < rank(b); });
        if (rank(*oldest).first) {
            break;
        }
        forgotten.push_back(oldest->first);
        entries_.erase(oldest);
    }
    return forgotten;
}

bool KnownDevices::IsKnown(const std::string& networkId) const
{
    if (State()) {
        return networkId != account_->OwnNetworkId() && account_->IsMember(networkId);
    }
    const MutexLock lock(mutex_);
    return entries_.contains(networkId);
}

std::string KnownDevices::FindByPrefix(const std::string& idPrefix) const
{
    const MutexLock lock(mutex_);
    for (auto found = entries_.lower_bound(idPrefix); found != entries_.end() && found->first.starts_with(idPrefix);
         ++found) {
        if (IsMember(found->first)) {
            return found->first;
        }
    }
    return {};
}

bool KnownDevices::HadRecentContact(const std::string& networkId) const
{
    const MutexLock lock(mutex_);
    const auto found = entries_.find(networkId);
    return found != entries_.end() && HasRecentContact(found->second) && IsMember(networkId);
}

std::vector<PeerAddress> KnownDevices::Addresses(const std::string& networkId) const
{
    const MutexLock lock(mutex_);
    const auto found = entries_.find(networkId);
    return found == entries_.end() ? std::vector<PeerAddress>{} : found->second.addresses;
}

void KnownDevices::SuggestHost(const std::string& networkId, const std::string& ipAddress)
{
    const bool isKnown = IsKnown(networkId);
    const MutexLock lock(mutex_);
    if (isKnown && !ipAddress.empty()) {
        suggestedHosts_[networkId] = ipAddress;
    } else {
        suggestedHosts_.erase(networkId);
    }
}

std::string KnownDevices::SuggestedHost(const std::string& networkId) const
{
    const MutexLock lock(mutex_);
    const auto found = suggestedHosts_.find(networkId);
    return found == suggestedHosts_.end() ? std::string() : found->second;
}

std::vector<Node> KnownDevices::List() const
{
    std::vector<Node> nodes;
    const std::chrono::milliseconds ownOverSteady =
        std::chrono::milliseconds(MillisecondsOf(clock_.WallNow())) - SinceBoot(clock_);
    const Trust::SignedStatePtr state = State();
    const MutexLock lock(mutex_);
    for (const auto& [networkId, entry] : entries_) {
        const Trust::Member* const member = state ? state->State().FindMember(networkId) : nullptr;
        if (state && member == nullptr) {
            continue;
        }
        Node& node = nodes.emplace_back(entry.node);
        node.deviceName = member != nullptr ? member->name : node.deviceName;
        for (const PeerAddress& known : entry.addresses) {
            node.address = node.address.empty() && known.transport == node.transport ? known.address : node.address;
        }
        node.online = HasRecentContact(entry);
        if (entry.clockOverSteady) {
            node.clockAhead = *entry.clockOverSteady - ownOverSteady;
        }
    }
    return nodes;
}

// ---- Writing

void KnownDevices::Flush()
{
    {
        const MutexLock lock(mutex_);
        if (isChanged_) {
            Save();
        }
    }
    strand_.Drain();
}

void KnownDevices::Save()
{
    if (!file_.empty() && !isQueued_) {
        savedAt_ = clock_.BootNow();
        isQueued_ = strand_.Post([this] { Write(); });
    }
}

void KnownDevices::Write()
{
    FileRecord record{.account = accountId_};
    {
        const MutexLock lock(mutex_);
        isQueued_ = false;
        isChanged_ = false;
        for (const auto& [networkId, entry] : entries_) {
            record.devices.push_back({entry.node, entry.addresses});
        }
    }
    std::sort(record.devices.begin(), record.devices.end(),
              [](const DeviceRecord& a, const DeviceRecord& b) { return a.node.lastSeenMs > b.node.lastSeenMs; });
    record.devices.resize(std::min(record.devices.size(), MAX_KNOWN_DEVICES));
    const Result<void> written = WriteFileAtomically(file_, FileKeys().Print(record), FILE_MODE);
    if (!written && !hasFailed_) {
        QuviewDFX::LogWarn(LOG_SOFTBUS, "%{public}s; devices met since then are unknown after a restart",
                           written.error().message);
    }
    hasFailed_ = !written;
}

}  // namespace Vexo::SoftBus
