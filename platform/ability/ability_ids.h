// The ids of this device's abilities (service objects). No other file contains such ids.
#pragma once

#include <cstdint>

namespace Vexo {

inline constexpr int32_t WIFI_DEVICE_SYS_ABILITY_ID = 1120;
inline constexpr int32_t WIFI_HOTSPOT_SYS_ABILITY_ID = 1121;
inline constexpr int32_t COMM_DISTRIBUTED_NET_ABILITY_ID = 1163;  // the distributed network service; loaded on demand
inline constexpr int32_t DISTNET_HOST_ABILITY_ID = 1164;          // the daemon's own interface, IDistNetHost
inline constexpr int32_t COMMON_EVENT_SERVICE_ID = 3299;
inline constexpr int32_t TELEPHONY_CORE_SERVICE_SYS_ABILITY_ID = 4010;
inline constexpr int32_t TELEPHONY_CELLULAR_DATA_SYS_ABILITY_ID = 4011;
inline constexpr int32_t SOFTBUS_SERVER_SA_ID = 4700;
inline constexpr int32_t DISTRIBUTED_HARDWARE_DEVICEMANAGER_SA_ID = 4802;
inline constexpr int32_t COLL_FWK_SA_ID = 70635;

// Returns the ability's name for people, such as "Wi-Fi hotspot" for 1121. Returns "ability" for an id that is not
// listed above.
const char* AbilityName(int32_t systemAbilityId);

}  // namespace Vexo
