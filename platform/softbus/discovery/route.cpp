#include "platform/softbus/discovery/route.h"

#include <algorithm>
#include <iterator>

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
        choose([type](const Transport& transport) { return transport.Carries(static_cast<LinkType>(type)); });
    }
    return chosen;
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
                if (address.transport == transport->Name() && isWanted(address)) {
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
    // A fixed delay, whatever the number of announcements: replayed ones must not delay a known good address.
    for (Route& route : routes) {
        route.after = contains(reached, route.where) ? std::min(route.after, ANNOUNCED_AHEAD) : route.after;
    }
    add(second, first.empty() ? std::chrono::milliseconds(0) : ANNOUNCED_AHEAD);
    std::stable_sort(routes.begin(), routes.end(), [](const Route& a, const Route& b) { return a.after < b.after; });
    add(last, routes.empty() ? std::chrono::milliseconds(0) : routes.back().after + NEXT_ADDRESS_DELAY);
    return routes;
}

}  // namespace Vexo::SoftBus
