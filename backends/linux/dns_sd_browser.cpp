#include "backends/linux/dns_sd_browser.h"

#include <algorithm>

#include "backends/linux/dns_sd_publisher.h"
#include "platform/base/hex.h"
#include "platform/base/host_port.h"
#include "platform/dfx/log.h"

namespace Vexo::Linux {
namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "DnsSd"};

constexpr size_t MAX_ITEMS = 256;
// The maximum number of instance names with the same token on one interface. A device has one name for IPv4 and one for
// IPv6, and two of each while it changes its publication. Names of crashed runs remain for a while.
constexpr size_t MAX_NAMES_PER_TOKEN = 4;
constexpr size_t MAX_RESOLVERS = 32;
// The maximum number of attempts to resolve a service. Avahi ends each attempt after 5 s. A device announces its next
// token as a new service, for which the count starts again.
constexpr int MAX_TRIES = 4;

constexpr uint32_t NO_FLAGS = 0;

// Whether this device has an address of the given protocol on the interface. Without such an address, this device is
// leaving the network, so announced addresses outside the subnets cause no warning.
bool HasAddress(const std::vector<LanAddress>& lan, int interface, int32_t protocol)
{
    return std::any_of(lan.begin(), lan.end(), [&](const LanAddress& own) {
        return own.interface == interface && own.isIpv6 == (protocol == AVAHI_PROTOCOL_IPV6);
    });
}

std::string NameOf(const DnsSdBrowser::Place& place)
{
    return place.instance + "@" + std::to_string(place.interface);
}

}  // namespace

std::string TokenOf(const std::string& instance)
{
    const size_t suffix = DNS_SD_TOKEN_CHARACTERS + 1;
    if (instance.size() != suffix + 2 * DNS_SD_SUFFIX_BYTES || instance[DNS_SD_TOKEN_CHARACTERS] != '-' ||
        BytesOfHex(instance.substr(suffix)).empty()) {
        return {};
    }
    return BytesOfHex(instance.substr(0, DNS_SD_TOKEN_CHARACTERS));
}

Result<void> DnsSdBrowser::Update(const std::vector<LanAddress>& lan)
{
    if (std::exchange(lan_, lan) != lan) {
        for (auto& [place, item] : items_) {
            Report(place, item);
        }
    }
    if (browser_.empty()) {
        const auto made =
            avahi_.Call<sdbus::ObjectPath>(AVAHI_SERVER, "ServiceBrowserNew", AVAHI_ANY, AVAHI_ANY,
                                           std::string(DNS_SD_TYPE), std::string(DNS_SD_DOMAIN), NO_FLAGS);
        if (!made) {
            return Failure(made.error());
        }
        browser_ = made.value();
        isPending_ = true;
    }
    return ResolveWaiting();
}

Result<void> DnsSdBrowser::OnItemNew(const std::string& path, const Service& service)
{
    const auto& [place, protocol] = service;
    const std::string token = TokenOf(place.instance);
    if (path != browser_ || token.empty() || isOwn_(place.instance) || !isOurs_(token)) {
        return {};
    }
    if (!items_.contains(place)) {
        MakeRoomForNameOf(token, place.interface);
    }
    if (items_.size() >= MAX_ITEMS && !items_.contains(place)) {
        if (const auto more = logLimit_.Admit("items")) {
            QuviewDFX::LogWarn(LABEL, "too many devices are announced nearby: ignoring the newest%{public}s", *more);
        }
        return {};
    }
    Item& item = items_[place];
    item.token = token;
    item.arrival = ++arrivals_;
    if (!item.lookups.try_emplace(protocol).second) {
        return {};
    }
    Enqueue(service);
    return ResolveWaiting();
}

Result<void> DnsSdBrowser::OnItemRemove(const std::string& path, const Service& service)
{
    const auto& [place, protocol] = service;
    const auto item = items_.find(place);
    if (path != browser_ || item == items_.end() || item->second.lookups.erase(protocol) == 0) {
        return {};
    }
    StopResolving(service);
    Report(place, item->second);
    if (item->second.lookups.empty()) {
        items_.erase(item);
    }
    return ResolveWaiting();
}

Result<void> DnsSdBrowser::OnResolved(const std::string& path, const std::string& address, uint16_t port)
{
    const auto entry = resolving_.find(path);
    if (entry == resolving_.end()) {
        return {};
    }
    const Service service = entry->second;
    resolving_.erase(entry);
    FreeAvahiObject(avahi_, path, AVAHI_SERVICE_RESOLVER);
    Item& item = items_.at(service.first);
    Lookup& lookup = item.lookups.at(service.second);
    if (!address.empty()) {
        lookup.address = address;
        lookup.port = port;
        Report(service.first, item);
    } else if (lookup.tries < MAX_TRIES) {
        Enqueue(service);
    }
    return ResolveWaiting();
}

void DnsSdBrowser::OnAllForNow(const std::string& path)
{
    isPending_ = isPending_ && path != browser_;
}

void DnsSdBrowser::OnBrowserFailure(const std::string& path)
{
    if (path == browser_) {
        End();
        Reset();
    }
}

void DnsSdBrowser::MakeRoomForNameOf(const std::string& token, int32_t interface)
{
    size_t names = 0;
    auto oldest = items_.end();
    for (auto entry = items_.begin(); entry != items_.end(); ++entry) {
        if (entry->first.interface == interface && entry->second.token == token) {
            ++names;
            oldest = oldest == items_.end() || entry->second.arrival < oldest->second.arrival ? entry : oldest;
        }
    }
    if (names < MAX_NAMES_PER_TOKEN) {
        return;
    }
    if (const auto more = logLimit_.Admit("names")) {
        QuviewDFX::LogWarn(LABEL, "a device nearby is announced under too many names: dropped the oldest%{public}s",
                           *more);
    }
    const auto dropped = items_.extract(oldest);
    for (const auto& [protocol, lookup] : dropped.mapped().lookups) {
        StopResolving({dropped.key(), protocol});
    }
    if (dropped.mapped().reported) {
        heard_(NameOf(dropped.key()), std::nullopt);
    }
}

void DnsSdBrowser::Enqueue(const Service& service)
{
    const auto tries = [&](const Service& of) { return items_.at(of.first).lookups.at(of.second).tries; };
    const auto after = std::find_if(waiting_.begin(), waiting_.end(),
                                    [&](const Service& other) { return tries(other) > tries(service); });
    waiting_.insert(after, service);
}

Result<void> DnsSdBrowser::ResolveWaiting()
{
    while (!waiting_.empty() && resolving_.size() < MAX_RESOLVERS) {
        const auto& [place, protocol] = waiting_.front();
        const auto made = avahi_.Call<sdbus::ObjectPath>(AVAHI_SERVER, "ServiceResolverNew", int32_t{place.interface},
                                                         int32_t{protocol}, place.instance, std::string(DNS_SD_TYPE),
                                                         std::string(DNS_SD_DOMAIN), int32_t{protocol}, NO_FLAGS);
        if (!made) {
            return Failure(made.error());
        }
        ++items_.at(place).lookups.at(protocol).tries;
        resolving_.emplace(made.value(), waiting_.front());
        waiting_.pop_front();
    }
    return {};
}

void DnsSdBrowser::StopResolving(const Service& service)
{
    std::erase(waiting_, service);
    const auto entry = std::find_if(resolving_.begin(), resolving_.end(),
                                    [&](const auto& resolver) { return resolver.second == service; });
    if (entry != resolving_.end()) {
        FreeAvahiObject(avahi_, entry->first, AVAHI_SERVICE_RESOLVER);
        resolving_.erase(entry);
    }
}

// Reports the announcement of the item if it has changed.
void DnsSdBrowser::Report(const Place& place, Item& item)
{
    std::optional<SoftBus::Announcement> now;
    for (const auto& [protocol, lookup] : item.lookups) {
        if (lookup.address.empty() || lookup.port == 0) {
            continue;
        }
        if (IsOnLink(lan_, place.interface, lookup.address)) {
            now = now.value_or(SoftBus::Announcement{item.token, {}});
            now->addresses.push_back({"tcp", ToText(HostPort{lookup.address, lookup.port})});
        } else if (HasAddress(lan_, place.interface, protocol)) {
            LogOffLink();
        }
    }
    if (std::exchange(item.reported, now) != now) {
        heard_(NameOf(place), now);
    }
}

void DnsSdBrowser::LogOffLink()
{
    if (const auto more = logLimit_.Admit("off the link")) {
        QuviewDFX::LogWarn(LABEL, "dropped an announced address that is not on its interface's link%{public}s", *more);
    }
}

void DnsSdBrowser::Reset()
{
    browser_.clear();
    isPending_ = false;
    waiting_.clear();
    resolving_.clear();
    for (const auto& [place, item] : std::exchange(items_, {})) {
        if (item.reported) {
            heard_(NameOf(place), std::nullopt);
        }
    }
}

void DnsSdBrowser::End()
{
    if (!browser_.empty()) {
        FreeAvahiObject(avahi_, std::exchange(browser_, ""), AVAHI_SERVICE_BROWSER);
    }
    for (const auto& [path, service] : std::exchange(resolving_, {})) {
        FreeAvahiObject(avahi_, path, AVAHI_SERVICE_RESOLVER);
    }
}

}  // namespace Vexo::Linux
