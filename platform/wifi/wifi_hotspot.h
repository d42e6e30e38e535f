// WifiHotspot: controls this device's access point (ability 1121). Each backend implements it. Thread-safe. Every call
// except DisableHotspot returns within its budget (wifi_budgets.h). A call that reaches its budget fails. What it has
// begun is undone, possibly after the call has returned. DisableHotspot may take 10 s. Results: a WifiResult or the
// radio's own code.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/base/refbase.h"
#include "platform/wifi/wifi_types.h"

namespace Vexo::Wifi {

class WifiHotspot : public virtual RefBase {
public:
    // Returns the object that is registered under systemAbilityId, or null. The returned pointer keeps the object
    // alive. instanceId: the number of the radio; only 0 exists.
    static std::shared_ptr<WifiHotspot> GetInstance(int32_t systemAbilityId, int32_t instanceId = 0);

    virtual int32_t IsHotspotActive(bool& isActive) = 0;
    virtual int32_t EnableHotspot(ServiceType type) = 0;
    virtual int32_t DisableHotspot(ServiceType type) = 0;
    virtual int32_t GetHotspotConfig(HotspotConfig& config) = 0;
};

}  // namespace Vexo::Wifi
