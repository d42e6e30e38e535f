// The hotspot exchange apart from its channel: what the message handlers of soft bus sessions (data_listener.h) and of
// collaborations (collaboration_listener.h) do alike. Any thread; what calls Wi-Fi blocks as long as Wi-Fi does.
#pragma once

#include <cstdint>
#include <string>

#include "platform/base/json.h"
#include "platform/wifi/wifi_types.h"

namespace Vexo::NetManagerStandard {

struct PreparedAnswer {
    Json json;           // the empty answer; null: there is nothing to answer
    int32_t result = 0;  // of Wi-Fi; not 0: the hotspot is not open, and the log says which call failed
    Wifi::HotspotConfig config;
};

// The serving device: opens its hotspot where it is closed and reads how to join it. Nothing to answer without memory
// or without a hotspot service.
PreparedAnswer PrepareAnswer();
// Fill json and return its text.
std::string PrintSuccessAnswer(cJSON* json, const Wifi::HotspotConfig& config);
std::string PrintFailureAnswer(cJSON* json, int32_t result);

// The requesting device: adds the configuration and connects. 0, HOTSPOT_FAIL_ADD_CONFIG or HOTSPOT_FAIL_CONNECT after
// logging it. The peer did its part, its hotspot is open: on a device without Wi-Fi of its own that is 0.
int32_t JoinHotspot(const Wifi::WifiDeviceConfig& config);

}  // namespace Vexo::NetManagerStandard
