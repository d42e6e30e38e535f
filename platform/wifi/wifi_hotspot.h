// WifiHotspot: this device's access point (ability 1121). Implemented by a backend. Any thread. Every call returns
// within its budget (wifi_budgets.h); what takes longer goes on after the call. A call that reaches its budget fails
// and undoes what it has begun. DisableHotspot has no budget, because no request calls it; it may take 10 s. Results: a
// WifiResult, or the radio's own code.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/base/refbase.h"
#include "platform/wifi/wifi_types.h"

namespace Vexo::Wifi {

class WifiHotspot : public virtual RefBase {
public:
    // Returns the object registered under that ability id, or null. instanceId: the radio; only 0 exists. The pointer
    // keeps the object alive.
    static std::shared_ptr<WifiHotspot> GetInstance(int32_t systemAbilityId, int32_t instanceId = 0);

    virtual int32_t IsHotspotActive(bool& isActive) = 0;
    virtual int32_t EnableHotspot(ServiceType type) = 0;
    virtual int32_t DisableHotspot(ServiceType type) = 0;
    virtual int32_t GetHotspotConfig(HotspotConfig& config) = 0;
};

}  // namespace Vexo::Wifi
