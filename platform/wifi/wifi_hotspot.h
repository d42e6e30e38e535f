// WifiHotspot: this device's access point (ability 1121). Implemented by a backend. Any thread. Every call returns
// within its budget (wifi_budgets.h) and lets longer work go on after it. A call that reaches its budget fails, and
// undoes what it has begun. DisableHotspot, which no request makes, may take 10 s. Results: WifiResult or the radio's
// own.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/base/refbase.h"
#include "platform/wifi/wifi_types.h"

namespace Vexo::Wifi {

class WifiHotspot : public virtual RefBase {
public:
    // What is registered under that ability id now, or null. instanceId: the radio; only 0 exists. The pointer keeps
    // the object.
    static std::shared_ptr<WifiHotspot> GetInstance(int32_t systemAbilityId, int32_t instanceId = 0);

    virtual int32_t IsHotspotActive(bool& isActive) = 0;
    virtual int32_t EnableHotspot(ServiceType type) = 0;
    virtual int32_t DisableHotspot(ServiceType type) = 0;
    virtual int32_t GetHotspotConfig(HotspotConfig& config) = 0;
};

}  // namespace Vexo::Wifi
