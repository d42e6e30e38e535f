// The budget (longest time) of each Wi-Fi call of one request. A requester waits 3 s for the answer. The calls of the
// serving device may take 1.3 s together, the calls of the requesting device 0.9 s, and the link between the devices
// 0.8 s. Opening a hotspot through a real NetworkManager took 300 to 390 ms in an emulated machine. A call that reaches
// its budget returns a failure. What the call has begun is undone, possibly after the call has returned.
#pragma once

#include <chrono>

namespace Vexo::Wifi {

inline constexpr std::chrono::milliseconds ANSWER_LIMIT{3000};
inline constexpr std::chrono::milliseconds LINK_BUDGET{800};

// Calls of the serving device
inline constexpr std::chrono::milliseconds HOTSPOT_STATE_BUDGET{100};   // IsHotspotActive
inline constexpr std::chrono::milliseconds HOTSPOT_ENABLE_BUDGET{700};  // EnableHotspot
inline constexpr std::chrono::milliseconds HOTSPOT_CONFIG_BUDGET{500};  // GetHotspotConfig
inline constexpr std::chrono::milliseconds SERVING_BUDGET =
    HOTSPOT_STATE_BUDGET + HOTSPOT_ENABLE_BUDGET + HOTSPOT_CONFIG_BUDGET;

// Calls of the requesting device
inline constexpr std::chrono::milliseconds ADD_CONFIG_BUDGET{100};  // AddDeviceConfig
inline constexpr std::chrono::milliseconds CONNECT_BUDGET{800};     // ConnectToDevice
inline constexpr std::chrono::milliseconds REQUESTING_BUDGET = ADD_CONFIG_BUDGET + CONNECT_BUDGET;

static_assert(SERVING_BUDGET + REQUESTING_BUDGET + LINK_BUDGET <= ANSWER_LIMIT);

}  // namespace Vexo::Wifi
