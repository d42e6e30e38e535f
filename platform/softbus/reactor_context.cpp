#include "platform/softbus/reactor_context.h"

#include <algorithm>

#include "platform/base/text.h"
#include "platform/dfx/guard.h"
#include "platform/softbus/softbus_log.h"

namespace Vexo::SoftBus {

void ReactorContext::AddDevice(const std::string& networkId, const Hello& hello, const std::string& transport)
{
    const std::vector<std::string> forgotten = devices.AddOrUpdate(networkId, hello, transport);
    sightings.MarkAnswered(networkId);
    for (const std::string& device : forgotten) {
        UpdateReachability(device);
    }
    UpdateReachability(networkId);
}

bool ReactorContext::IsReachable(const std::string& networkId) const
{
    return devices.HadRecentContact(networkId) || (devices.IsKnown(networkId) && sightings.IsAnnounced(networkId));
}

void ReactorContext::UpdateReachability(const std::string& networkId)
{
    const bool isReachable = IsReachable(networkId);
    if (isReachable == reportedReachable_.contains(networkId)) {
        return;
    }
    if (isReachable) {
        reportedReachable_.insert(networkId);
    } else {
        reportedReachable_.erase(networkId);
    }
    QuviewDFX::LogInfo(LOG_SOFTBUS, "device %{public}s is %{public}s", ShortId(networkId),
                       isReachable ? "reachable" : "away");
    if (onlineChanged) {
        QuviewDFX::RunGuarded(LOG_SOFTBUS, "online callback", onlineChanged);
    }
}

void ReactorContext::UpdateAllReachability()
{
    std::set<std::string> all = reportedReachable_;
    for (const Node& node : devices.List()) {
        all.insert(node.networkId);
    }
    for (const std::string& networkId : all) {
        UpdateReachability(networkId);
    }
}

bool ReactorContext::CanSeek(const std::vector<int32_t>& linkTypes) const
{
    return std::any_of(transports.begin(), transports.end(), [&](const auto& transport) {
        return !transport->HasStableAddresses() &&
               (linkTypes.empty() || std::any_of(linkTypes.begin(), linkTypes.end(), [&](int32_t type) {
                    return transport->SupportsLinkType(static_cast<LinkType>(type));
                }));
    });
}

Transport* ReactorContext::FindTransport(const std::string& name) const
{
    for (const auto& transport : transports) {
        if (transport->Name() == name) {
            return transport.get();
        }
    }
    return nullptr;
}

}  // namespace Vexo::SoftBus
