#include "platform/ability/ability_ids.h"

namespace Vexo {

const char* AbilityName(int32_t systemAbilityId)
{
    switch (systemAbilityId) {
        case WIFI_DEVICE_SYS_ABILITY_ID:
            return "Wi-Fi device";
        case WIFI_HOTSPOT_SYS_ABILITY_ID:
            return "Wi-Fi hotspot";
        case COMM_DISTRIBUTED_NET_ABILITY_ID:
            return "distributed network";
        case DISTNET_HOST_ABILITY_ID:
            return "daemon";
        case COMMON_EVENT_SERVICE_ID:
            return "common events";
        case TELEPHONY_CORE_SERVICE_SYS_ABILITY_ID:
            return "telephony";
        case TELEPHONY_CELLULAR_DATA_SYS_ABILITY_ID:
            return "cellular data";
        case SOFTBUS_SERVER_SA_ID:
            return "soft bus";
        case DISTRIBUTED_HARDWARE_DEVICEMANAGER_SA_ID:
            return "device manager";
        case COLL_FWK_SA_ID:
            return "collaboration";
        default:
            return "ability";
    }
}

}  // namespace Vexo
