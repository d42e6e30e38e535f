// WifiDevice: controls this device as a Wi-Fi station (ability 1120). Each backend implements it. Thread-safe.
// AddDeviceConfig and ConnectToDevice return within their budgets (wifi_budgets.h); the join itself continues after
// ConnectToDevice has returned. A call that reaches its budget fails. What the call has begun is undone, possibly after
// the call has returned. GetDeviceConfigs and GetLinkInfo do not block. An int32_t result is a WifiResult or the
// radio's own code.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/base/refbase.h"
#include "platform/wifi/wifi_types.h"

namespace Vexo::Wifi {

class WifiDevice : public virtual RefBase {
public:
    // Returns the object that is registered under systemAbilityId, or null. The returned pointer keeps the object
    // alive. instanceId: the number of the radio; only 0 exists.
    static std::shared_ptr<WifiDevice> GetInstance(int32_t systemAbilityId, int32_t instanceId = 0);

    // Replaces the content of configs by the stored configurations. isCandidate: if true, returns only the
    // configurations that were added with isCandidate set.
    virtual int32_t GetDeviceConfigs(std::vector<WifiDeviceConfig>& configs, bool isCandidate) = 0;
    // Stores a configuration and sets networkId to the new configuration's id.
    virtual int32_t AddDeviceConfig(const WifiDeviceConfig& config, int& networkId, bool isCandidate) = 0;
    // Starts an attempt to join the network and returns when the attempt is accepted. GetLinkInfo and a common event
    // (CONNECTIVITY_CHANGE) report how the attempt ends.
    virtual int32_t ConnectToDevice(const WifiDeviceConfig& config) = 0;

    virtual WifiLinkInfo GetLinkInfo() = 0;
    // Blocks until the link info has another state or attempt number than the caller knows. Returns the current link
    // info. known: the link info that the caller knows. limit: the longest time to block.
    virtual WifiLinkInfo WaitForChange(const WifiLinkInfo& known, std::chrono::milliseconds limit) = 0;
};

}  // namespace Vexo::Wifi
