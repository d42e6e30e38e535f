#include "distributed/services/link/hotspot_exchange.h"

#include <utility>

#include "distributed/services/utils/distnet_errors.h"
#include "distributed/services/utils/json_text.h"
#include "distributed/services/utils/net_mgr_log_wrapper.h"
#include "platform/ability/ability_ids.h"
#include "platform/wifi/wifi_device.h"
#include "platform/wifi/wifi_hotspot.h"

namespace Vexo::NetManagerStandard {
namespace {

// Opens the hotspot if it is closed, and reads its configuration. Returns 0, or the code of the Wi-Fi call that failed
// (logged).
int32_t OpenHotspot(Wifi::WifiHotspot& hotspot, Wifi::HotspotConfig& config)
{
    bool isActive = false;
    int32_t ret = hotspot.IsHotspotActive(isActive);
    if (ret != Wifi::WIFI_OK) {
        NETMGR_EXT_LOGE(" IsHotspotActive error: %{public}d", ret);
        return ret;
    }
    if (!isActive) {
        ret = hotspot.EnableHotspot(Wifi::ServiceType::DEFAULT);
        if (ret != Wifi::WIFI_OK) {
            NETMGR_EXT_LOGE(" Enable hotspot error: %{public}d", ret);
            return ret;
        }
    }
    ret = hotspot.GetHotspotConfig(config);
    if (ret != Wifi::WIFI_OK) {
        NETMGR_EXT_LOGE(" Get hotspot config error: %{public}d", ret);
        return ret;
    }
    return Wifi::WIFI_OK;
}

}  // namespace

PreparedAnswer PrepareAnswer()
{
    PreparedAnswer answer;
    Json json = NewObject();
    if (json == nullptr) {
        return answer;
    }
    const std::shared_ptr<Wifi::WifiHotspot> hotspot = Wifi::WifiHotspot::GetInstance(WIFI_HOTSPOT_SYS_ABILITY_ID, 0);
    if (!hotspot) {
        return answer;
    }
    answer.json = std::move(json);
    // The configuration can be read before the radio is on, so PrepareAnswer does not wait for the radio.
    answer.result = OpenHotspot(*hotspot, answer.config);
    return answer;
}

std::string PrintSuccessAnswer(cJSON* json, const Wifi::HotspotConfig& config)
{
    cJSON_AddNumberToObject(json, "RES", 0);
    cJSON_AddStringToObject(json, "SSID", config.GetSsid().c_str());
    cJSON_AddStringToObject(json, "PRESHARED_KEY", config.GetPreSharedKey().c_str());
    cJSON_AddNumberToObject(json, "SECURITY_TYPE", static_cast<int32_t>(config.GetSecurityType()));
    return FormattedJson(json);
}

std::string PrintFailureAnswer(cJSON* json, int32_t result)
{
    cJSON_AddNumberToObject(json, "RES", result);
    return FormattedJson(json);
}

int32_t JoinHotspot(const Wifi::WifiDeviceConfig& config)
{
    const std::shared_ptr<Wifi::WifiDevice> device = Wifi::WifiDevice::GetInstance(WIFI_DEVICE_SYS_ABILITY_ID, 0);
    if (!device) {
        return DISTNET_SUCCESS;
    }
    int networkId = 0;
    int32_t ret = device->AddDeviceConfig(config, networkId, false);
    if (ret != Wifi::WIFI_OK) {
        NETMGR_EXT_LOGE(" Add device config error: %{public}d", ret);
        return HOTSPOT_FAIL_ADD_CONFIG;
    }
    ret = device->ConnectToDevice(config);
    if (ret != Wifi::WIFI_OK) {
        NETMGR_EXT_LOGE(" ConnectToDevice error: %{public}d", ret);
        return HOTSPOT_FAIL_CONNECT;
    }
    return DISTNET_SUCCESS;
}

}  // namespace Vexo::NetManagerStandard
