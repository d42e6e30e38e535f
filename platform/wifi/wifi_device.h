// WifiDevice: this device as a station (ability 1120). Implemented by a backend. Any thread. AddDeviceConfig and
// ConnectToDevice return within their budgets (wifi_budgets.h), having started what takes longer; a call that reaches
// its budget fails and leaves no trace. GetDeviceConfigs and GetLinkInfo do not block. Results: WifiResult or the
// radio's own.
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
    // What is registered under that ability id now, or null. instanceId: the radio; only 0 exists. The pointer keeps
    // the object.
    static std::shared_ptr<WifiDevice> GetInstance(int32_t systemAbilityId, int32_t instanceId = 0);

    // The stored configurations; isCandidate: only those that a program proposed.
    virtual int32_t GetDeviceConfigs(std::vector<WifiDeviceConfig>& configs, bool isCandidate) = 0;
    // Stores a configuration and gives it a network id.
    virtual int32_t AddDeviceConfig(const WifiDeviceConfig& config, int& networkId, bool isCandidate) = 0;
    // Returns when the attempt is accepted; how it ends shows in GetLinkInfo and as a connectivity common event.
    virtual int32_t ConnectToDevice(const WifiDeviceConfig& config) = 0;

    virtual WifiLinkInfo GetLinkInfo() = 0;
    // Blocks until the link info differs from known in state or attempt, or the limit has passed; returns it.
    virtual WifiLinkInfo WaitForChange(const WifiLinkInfo& known, std::chrono::milliseconds limit) = 0;
};

}  // namespace Vexo::Wifi
