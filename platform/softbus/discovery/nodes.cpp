#include "platform/softbus/discovery/nodes.h"

#include <algorithm>
#include <tuple>

#include "platform/base/clock.h"
#include "platform/softbus/discovery/route.h"

namespace Vexo::SoftBus {

std::vector<Node> ListNodes(const ReactorContext& context)
{
    std::vector<Node> nodes = context.devices.List();
    const int64_t now = MillisecondsOf(Clock::System().WallNow());
    for (Node& node : nodes) {
        node.tried = context.tries.Of(node.networkId);
        node.online = node.online || context.sightings.IsAnnounced(node.networkId);
        if (node.online) {
            node.lastSeenMs = now;
            if (const std::vector<Route> routes = RoutesTo(context, node.networkId); !routes.empty()) {
                node.transport = routes.front().where.transport;
                node.address = routes.front().where.address;
            }
        } else {
            node.clockAhead.reset();
        }
        if (const auto far = context.sightings.ClockAhead(node.networkId); far.count() != 0 && !node.clockAhead) {
            node.clockAhead = far;
        }
    }
    std::sort(nodes.begin(), nodes.end(), [](const Node& a, const Node& b) {
        return std::tie(b.online, a.deviceName, a.networkId) < std::tie(a.online, b.deviceName, b.networkId);
    });
    return nodes;
}

}  // namespace Vexo::SoftBus
