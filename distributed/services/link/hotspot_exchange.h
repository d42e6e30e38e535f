// The steps of the hotspot exchange that do not depend on the channel. The message handlers of soft bus sessions
// (data_listener.h) and of collaborations (collaboration_listener.h) share them. Any thread. PrepareAnswer and
// JoinHotspot block as long as their Wi-Fi calls.
#pragma once

#include <cstdint>
#include <string>

#include "platform/base/json.h"
#include "platform/wifi/wifi_types.h"

namespace Vexo::NetManagerStandard {

struct PreparedAnswer {
    Json json;           // an empty object to fill; null: send no answer
    int32_t result = 0;  // 0, or the code of the Wi-Fi call that failed (logged)
    Wifi::HotspotConfig config;
};

// For the serving device: opens its hotspot if it is closed, and reads its configuration. The result's json is null if
// memory is short or this device has no hotspot service.
PreparedAnswer PrepareAnswer();
// Add the members of the answer to json and return its text.
std::string PrintSuccessAnswer(cJSON* json, const Wifi::HotspotConfig& config);
std::string PrintFailureAnswer(cJSON* json, int32_t result);

// For the requesting device: adds the configuration and starts to connect. Returns 0, or HOTSPOT_FAIL_ADD_CONFIG or
// HOTSPOT_FAIL_CONNECT (logged). Returns 0 also if this device has no Wi-Fi service.
int32_t JoinHotspot(const Wifi::WifiDeviceConfig& config);

}  // namespace Vexo::NetManagerStandard
