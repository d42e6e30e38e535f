#include "platform/softbus/discovery/route.h"

#include <algorithm>
#include <asio/ip/address.hpp>
#include <iterator>
#include <optional>

#include "platform/base/host_port.h"

namespace Vexo::SoftBus {

namespace {

std::vector<const Transport*> TransportsOf(const ReactorContext& context, const std::vector<int32_t>& linkTypes)
{
    std::vector<const Transport*> chosen;
    const auto choose = [&](const auto& isWanted) {
        for (const auto& transport : context.transports) {
            if (isWanted(*transport) && std::find(chosen.begin(), chosen.end(), transport.get()) == chosen.end()) {
                chosen.push_back(transport.get());
            }
        }
    };
    if (linkTypes.empty()) {
        choose([](const Transport&) { return true; });
    }
    for (const int32_t type : linkTypes) {
        choose([type](const Transport& transport) { return transport.SupportsLinkType(static_cast<LinkType>(type)); });
    }
    return chosen;
}

constexpr const char* TCP = "tcp";

// Returns true for an address of all interfaces, such as "0.0.0.0:7". A device that listens on all its interfaces
// reports such an address. A connection to such an address leads back to this device. HELLO over TCP shows the device's
// real host (Transport::Reachable), but HELLO over Bluetooth does not.
bool IsOfAllInterfaces(const PeerAddress& address)
{
    const auto parsed = ParseHostPort(address.address);
    asio::error_code error;
    return parsed && asio::ip::make_address(parsed.value().host, error).is_unspecified() && !error;
}

// Returns the address that consists of the suggested host and the device's TCP port. Returns nullopt if the host or the
// port is not known, or if a handshake at that address failed recently. known: the addresses where the device was
// reached. The port of a known address is preferred to the port of an announced address, because a stranger may replay
// an announcement.
std::optional<PeerAddress> SuggestedAddress(const ReactorContext& context, const std::string& networkId,
                                            std::vector<PeerAddress> known)
{
    const std::string host = context.devices.SuggestedHost(networkId);
    const std::vector<PeerAddress> announced = context.sightings.Addresses(networkId);
    known.insert(known.end(), announced.begin(), announced.end());
    for (const PeerAddress& address : known) {
        const auto parsed = ParseHostPort(address.address);
        if (!host.empty() && address.transport == TCP && parsed) {
            PeerAddress suggested{TCP, ToText({host, parsed.value().port})};
            return context.sightings.IsAvoided(networkId, suggested) ? std::nullopt : std::optional(suggested);
        }
    }
    return std::nullopt;
}

void TryFirst(const PeerAddress& where, std::vector<Route>& routes)
{
    std::erase_if(routes, [&](const Route& route) { return route.where == where; });
    for (Route& route : routes) {
        route.after += NEXT_ADDRESS_DELAY;
    }
    routes.insert(routes.begin(), {where, std::chrono::milliseconds(0)});
}

}  // namespace

std::vector<Route> RoutesTo(const ReactorContext& context, const std::string& networkId,
                            const std::vector<int32_t>& linkTypes)
{
    const std::vector<PeerAddress> reached = context.devices.Addresses(networkId);
    const std::vector<PeerAddress> announced = context.sightings.Addresses(networkId);
    const auto contains = [](const std::vector<PeerAddress>& addresses, const PeerAddress& address) {
        return std::find(addresses.begin(), addresses.end(), address) != addresses.end();
    };
    std::vector<PeerAddress> first;
    std::vector<PeerAddress> second;
    std::vector<PeerAddress> last;
    for (const Transport* transport : TransportsOf(context, linkTypes)) {
        const auto take = [&](const std::vector<PeerAddress>& from, std::vector<PeerAddress>& to,
                              const auto& isWanted) {
            for (const PeerAddress& address : from) {
                if (address.transport == transport->Name() && !IsOfAllInterfaces(address) && isWanted(address)) {
                    (context.sightings.IsAvoided(networkId, address) ? last : to).push_back(address);
                }
            }
        };
        take(announced, first, [](const PeerAddress&) { return true; });
        take(reached, second, [&](const PeerAddress& address) { return !contains(announced, address); });
    }
    std::vector<Route> routes;
    const auto add = [&routes](const std::vector<PeerAddress>& addresses, std::chrono::milliseconds after) {
        for (const PeerAddress& address : addresses) {
            routes.push_back({address, after});
            after += NEXT_ADDRESS_DELAY;
        }
    };
    add(first, std::chrono::milliseconds(0));
    // An address that has worked before is tried after ANNOUNCED_AHEAD at the latest. Without this rule, a stranger who
    // replays many announcements could delay that attempt.
    for (Route& route : routes) {
        route.after = contains(reached, route.where) ? std::min(route.after, ANNOUNCED_AHEAD) : route.after;
    }
    add(second, first.empty() ? std::chrono::milliseconds(0) : ANNOUNCED_AHEAD);
    std::stable_sort(routes.begin(), routes.end(), [](const Route& a, const Route& b) { return a.after < b.after; });
    add(last, routes.empty() ? std::chrono::milliseconds(0) : routes.back().after + NEXT_ADDRESS_DELAY);
    const auto isOverTcp = [](const Route& route) { return route.where.transport == TCP; };
    if (std::any_of(routes.begin(), routes.end(), isOverTcp)) {
        if (const auto suggested = SuggestedAddress(context, networkId, reached)) {
            TryFirst(*suggested, routes);
        }
    }
    return routes;
}

}  // namespace Vexo::SoftBus
