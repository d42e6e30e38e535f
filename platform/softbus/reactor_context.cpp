#include "platform/softbus/reactor_context.h"

#include "platform/base/text.h"
#include "platform/dfx/guard.h"
#include "platform/softbus/softbus_log.h"

namespace Vexo::SoftBus {

bool ReactorContext::IsReachable(const std::string& networkId) const
{
    return devices.WasSpokenWithRecently(networkId) || (devices.IsKnown(networkId) && sightings.IsAnnounced(networkId));
}

void ReactorContext::NoteReachability(const std::string& networkId)
{
    const bool isReachable = IsReachable(networkId);
    if (isReachable == notedReachable_.contains(networkId)) {
        return;
    }
    if (isReachable) {
        notedReachable_.insert(networkId);
    } else {
        notedReachable_.erase(networkId);
    }
    QuviewDFX::LogInfo(LOG_SOFTBUS, "device %{public}s is %{public}s", ShortId(networkId),
                       isReachable ? "reachable" : "away");
    if (onlineChanged) {
        QuviewDFX::RunGuarded(LOG_SOFTBUS, "online callback", onlineChanged);
    }
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
