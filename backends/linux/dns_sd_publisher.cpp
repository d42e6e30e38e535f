#include "backends/linux/dns_sd_publisher.h"

#include <openssl/rand.h>

#include <algorithm>
#include <array>
#include <span>
#include <utility>

#include "platform/base/hex.h"
#include "platform/dfx/log.h"

namespace Vexo::Linux {
namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "DnsSd"};

// Values of AvahiEntryGroupState.
constexpr int32_t GROUP_ESTABLISHED = 2;
constexpr int32_t GROUP_COLLISION = 3;
constexpr int32_t GROUP_FAILURE = 4;

// Values of AvahiPublishFlags.
constexpr uint32_t PUBLISH_NO_REVERSE = 16;
constexpr uint32_t PUBLISH_NO_COOKIE = 32;  // no Avahi cookie, because it would be the same in each publication

constexpr size_t HOST_BYTES = 6;
// The most entries (addresses and services together) that Avahi accepts in one group (its entries-per-entry-group-max).
constexpr size_t MAX_ENTRIES = 32;
constexpr size_t MAX_OWN_NAMES = 2 * MAX_ENTRIES;  // names of the current and the previous publication
// How many name collisions in a row are retried at once. Later retries wait, because another host that claims every
// name must not keep this device busy.
constexpr int MAX_COLLISIONS_AT_ONCE = 3;

template <size_t SIZE>
Result<std::string> RandomHex()
{
    std::array<uint8_t, SIZE> bytes{};
    if (RAND_bytes(bytes.data(), static_cast<int>(bytes.size())) != 1) {
        return Fail(ErrorCode::SYSTEM, "no random bytes");
    }
    return HexOf(bytes);
}

// Whether the device accepts connections at that address. A device that listens at "0.0.0.0" accepts only IPv4
// connections. A device that listens at "::" accepts IPv4 and IPv6 connections.
bool ListensAt(const std::string& listening, const LanAddress& address)
{
    return listening == "::" || (listening == "0.0.0.0" && !address.isIpv6) || listening == address.address;
}

bool AreOfOneService(const LanAddress& one, const LanAddress& other)
{
    return one.interface == other.interface && one.isIpv6 == other.isIpv6;
}

}  // namespace

Result<void> DnsSdPublisher::Update(const std::vector<LanAddress>& lan)
{
    Publication wanted = Wanted(lan);
    if (pending_ && pending_->publication == wanted) {
        return {};
    }
    Free(pending_);
    if (established_ && established_->publication == wanted) {
        return {};
    }
    if (wanted.addresses.empty() || wanted.token.empty()) {
        Free(established_);
        return {};
    }
    Result<Group> group = Commit(wanted);
    if (!group) {
        return Failure(std::move(group).error());
    }
    pending_ = std::move(group).value();
    return {};
}

bool DnsSdPublisher::HasAddress(const std::vector<LanAddress>& lan) const
{
    return std::any_of(lan.begin(), lan.end(),
                       [this](const LanAddress& address) { return ListensAt(listening_.host, address); });
}

DnsSdPublisher::Publication DnsSdPublisher::Wanted(const std::vector<LanAddress>& lan)
{
    Publication wanted{token_, {}};
    size_t entries = 0;
    for (const LanAddress& address : lan) {
        if (!ListensAt(listening_.host, address)) {
            continue;
        }
        const bool isNewService = wanted.addresses.empty() || !AreOfOneService(wanted.addresses.back(), address);
        entries += isNewService ? 2 : 1;
        if (entries <= MAX_ENTRIES) {
            wanted.addresses.push_back(address);
        } else if (!std::exchange(hasLoggedOmission_, true)) {
            QuviewDFX::LogWarn(LABEL, "this machine has too many addresses to announce, from %{public}s on",
                               address.address);
        }
    }
    return wanted;
}

Result<DnsSdPublisher::Group> DnsSdPublisher::Commit(const Publication& publication)
{
    const auto made = avahi_.Call<sdbus::ObjectPath>(AVAHI_SERVER, "EntryGroupNew");
    if (!made) {
        return Failure(made.error());
    }
    std::optional<Group> group = Group{made.value(), publication};
    if (const Result<void> filled = Fill(*group); !filled) {
        Free(group);
        return Failure(filled.error());
    }
    return std::move(*group);
}

Result<void> DnsSdPublisher::Fill(const Group& group)
{
    const BusObject object{AVAHI, group.path, AVAHI_ENTRY_GROUP};
    const Result<std::string> host = RandomHex<HOST_BYTES>();
    if (!host) {
        return Failure(host.error());
    }
    const std::string hostName = host.value() + "." + DNS_SD_DOMAIN;
    const LanAddress* last = nullptr;
    for (const LanAddress& address : group.publication.addresses) {
        const int32_t protocol = address.isIpv6 ? AVAHI_PROTOCOL_IPV6 : AVAHI_PROTOCOL_IPV4;
        Result<void> added = avahi_.Call(object, "AddAddress", int32_t{address.interface}, protocol, PUBLISH_NO_REVERSE,
                                         hostName, address.address);
        if (added && (last == nullptr || !AreOfOneService(*last, address))) {
            // Each interface and IP version has its own instance name, because Avahi withdraws a name that is on
            // several interfaces from only one of them.
            const Result<std::string> instance = MakeInstance(group.publication.token);
            if (!instance) {
                return Failure(instance.error());
            }
            added = avahi_.Call(object, "AddService", int32_t{address.interface}, protocol, PUBLISH_NO_COOKIE,
                                instance.value(), std::string(DNS_SD_TYPE), std::string(DNS_SD_DOMAIN), hostName,
                                listening_.port, std::vector<std::vector<uint8_t>>());
        }
        if (!added) {
            return added;
        }
        last = &address;
    }
    return avahi_.Call(object, "Commit");
}

Result<std::string> DnsSdPublisher::MakeInstance(const std::string& token)
{
    Result<std::string> suffix = RandomHex<DNS_SD_SUFFIX_BYTES>();
    if (!suffix) {
        return suffix;
    }
    const auto* const bytes = reinterpret_cast<const uint8_t*>(token.data());
    ownNames_.push_back(HexOf(std::span(bytes, token.size())) + "-" + suffix.value());
    if (ownNames_.size() > MAX_OWN_NAMES) {
        ownNames_.pop_front();
    }
    return ownNames_.back();
}

DnsSdPublisher::Outcome DnsSdPublisher::OnStateChanged(const std::string& path, int32_t state, const std::string& error)
{
    const bool isPending = pending_ && pending_->path == path;
    if (!isPending && !(established_ && established_->path == path)) {
        return Outcome::NOTHING;
    }
    if (state == GROUP_ESTABLISHED) {
        if (isPending) {
            Free(established_);
            established_ = std::exchange(pending_, std::nullopt);
        }
        collisions_ = 0;
        hasLoggedFailure_ = false;
        return Outcome::UPDATE_NOW;
    }
    if (state != GROUP_COLLISION && state != GROUP_FAILURE) {
        return Outcome::NOTHING;
    }
    Free(isPending ? pending_ : established_);
    if (state == GROUP_COLLISION && ++collisions_ <= MAX_COLLISIONS_AT_ONCE) {
        return Outcome::UPDATE_NOW;
    }
    if (!std::exchange(hasLoggedFailure_, true)) {
        QuviewDFX::LogWarn(LABEL, "Avahi rejected this device's announcement; retrying: %{public}s", error);
    }
    return Outcome::UPDATE_LATER;
}

bool DnsSdPublisher::IsOwn(const std::string& instance) const
{
    return std::find(ownNames_.begin(), ownNames_.end(), instance) != ownNames_.end();
}

void DnsSdPublisher::Reset()
{
    pending_.reset();
    established_.reset();
}

void DnsSdPublisher::Withdraw()
{
    Free(pending_);
    Free(established_);
}

void DnsSdPublisher::Free(std::optional<Group>& group)
{
    if (const auto freed = std::exchange(group, std::nullopt)) {
        FreeAvahiObject(avahi_, freed->path, AVAHI_ENTRY_GROUP);
    }
}

}  // namespace Vexo::Linux
