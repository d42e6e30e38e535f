// These steps of the hotspot exchange are the same for both channels: soft bus sessions (data_listener.h) and
// collaborations (collaboration_listener.h). Any thread may call the functions. PrepareAnswer and JoinHotspot block
// while they call the Wi-Fi services.
#pragma once

#include <cstdint>
#include <string>

#include "platform/base/json.h"
#include "platform/wifi/wifi_types.h"

namespace Vexo::NetManagerStandard {

struct PreparedAnswer {
    Json json;           // an empty object for the answer; null: no answer is sent
    int32_t result = 0;  // 0, or the code of the Wi-Fi call that failed (logged)
    Wifi::HotspotConfig config;
};

// The serving device calls PrepareAnswer. Opens the hotspot of this device if it is closed, and reads the hotspot's
// configuration. If memory is short or this device has no hotspot service, PreparedAnswer::json is null.
PreparedAnswer PrepareAnswer();
// PrintSuccessAnswer and PrintFailureAnswer add the members of an answer to json, and return json as text.
std::string PrintSuccessAnswer(cJSON* json, const Wifi::HotspotConfig& config);
std::string PrintFailureAnswer(cJSON* json, int32_t result);

// The requesting device calls JoinHotspot. The function adds the Wi-Fi configuration and starts to connect. Returns 0,
// HOTSPOT_FAIL_ADD_CONFIG (logged) or HOTSPOT_FAIL_CONNECT (logged). Returns 0 also if this device has no Wi-Fi
// service.
int32_t JoinHotspot(const Wifi::WifiDeviceConfig& config);

}  // namespace Vexo::NetManagerStandard
