#include "platform/ability/iservice_registry.h"
#include "platform/wifi/wifi_device.h"
#include "platform/wifi/wifi_hotspot.h"

namespace Vexo::Wifi {
namespace {

template <typename Interface>
std::shared_ptr<Interface> FindRadio(int32_t systemAbilityId, int32_t instanceId)
{
    const sptr<Interface> ability = instanceId == 0 ? FindAbility<Interface>(systemAbilityId) : nullptr;
    if (!ability) {
        return nullptr;
    }
    // The deleter holds a copy of the sptr, so the object lives until the last shared_ptr is destroyed.
    return std::shared_ptr<Interface>(ability.GetRefPtr(), [ability](Interface*) {});
}

}  // namespace

std::shared_ptr<WifiDevice> WifiDevice::GetInstance(int32_t systemAbilityId, int32_t instanceId)
{
    return FindRadio<WifiDevice>(systemAbilityId, instanceId);
}

std::shared_ptr<WifiHotspot> WifiHotspot::GetInstance(int32_t systemAbilityId, int32_t instanceId)
{
    return FindRadio<WifiHotspot>(systemAbilityId, instanceId);
}

}  // namespace Vexo::Wifi
