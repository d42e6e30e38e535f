// This file contains the functions of DistNetService that list the trusted devices and read this device's capability
// items.
#include <array>

#include "distributed/services/link/device_manager_adapter.h"
#include "distributed/services/service/distnet_service.h"
#include "distributed/services/service/event_report.h"
#include "distributed/services/service/qu_trace.h"
#include "distributed/services/utils/distnet_errors.h"
#include "distributed/services/utils/json_text.h"
#include "distributed/services/utils/net_mgr_log_wrapper.h"
#include "platform/ability/ability_ids.h"
#include "platform/base/json.h"
#include "platform/telephony/core_service_client.h"
#include "platform/wifi/wifi_device.h"
#include "platform/wifi/wifi_hotspot.h"

namespace Vexo::NetManagerStandard {
namespace {

using Telephony::CellularDataClient;
using Telephony::CoreServiceClient;
using Telephony::SimState;

// One capability item: its name in requests, the function that adds its value to the answer, and the report of a
// failure.
struct CapabilityItem {
    const char* name;
    int32_t (DistNetService::*answer)(cJSON* root);
    int32_t errorCode;
    const char* errorMessage;
    void (*logFailure)();
};

constexpr std::array<CapabilityItem, 3> CAPABILITY_ITEMS{{
    // The event text contains the spelling "hotsopt", which must not be corrected: docs/errors.md documents it.
    {"supportSmartHotSpot", &DistNetService::SupportSmartHotSpot, REMOTE_INFO_FAIL_SMART_HOTSPOT,
     "support smart hotsopt error", [] { NETMGR_EXT_LOGE(" GetRemoteDeviceInfo fail"); }},
    {"bssid", &DistNetService::GetCurrentBssid, REMOTE_INFO_FAIL_BSSID, "get current bssid error",
     [] { NETMGR_EXT_LOGE(" GetCurrentBssid fail"); }},
    {"hotspotName", &DistNetService::GetHotspotName, REMOTE_INFO_FAIL_HOTSPOT_NAME, "get hotspot name error",
     [] { NETMGR_EXT_LOGE(" GetHotspotName fail"); }},
}};

// Adds a member for one item to root. The member has no value yet. The object root owns the member. Returns null if
// memory is short.
cJSON* AddItem(cJSON* root, const char* name, const char* valueType)
{
    Json item = NewObject();
    if (item == nullptr) {
        return nullptr;
    }
    cJSON_AddStringToObject(item.get(), "variable", "true");
    cJSON_AddStringToObject(item.get(), "valueType", valueType);
    return cJSON_AddItemToObject(root, name, item.get()) != 0 ? item.release() : nullptr;
}

bool IsUsable(SimState state)
{
    return state == SimState::READY || state == SimState::LOADED;
}

bool IsSimReady()
{
    SimState first = SimState::UNKNOWN;
    int32_t ret = CoreServiceClient::GetInstance().GetSimState(0, first);
    if (ret != Telephony::TELEPHONY_OK) {
        NETMGR_EXT_LOGE(" GetSimState 0 error, %{public}d", ret);
        first = SimState::UNKNOWN;
    }
    SimState second = SimState::UNKNOWN;
    ret = CoreServiceClient::GetInstance().GetSimState(1, second);
    if (ret != Telephony::TELEPHONY_OK) {
        NETMGR_EXT_LOGE(" GetSimState 1 error, %{public}d", ret);
        second = SimState::UNKNOWN;
    }
    if (!IsUsable(first) && !IsUsable(second)) {
        NETMGR_EXT_LOGI(" GetSimState SimState not ready, %{public}d, %{public}d", static_cast<int32_t>(first),
                        static_cast<int32_t>(second));
        return false;
    }
    return true;
}

bool IsCellularDataOn()
{
    bool enabled = false;
    const int32_t ret = CellularDataClient::GetInstance().IsCellularDataEnabled(enabled);
    if (ret != Telephony::TELEPHONY_OK) {
        NETMGR_EXT_LOGE(" IsCellularDataEnabled error, %{public}d", ret);
        enabled = false;
    }
    if (!enabled) {
        NETMGR_EXT_LOGI(" IsCellularDataEnabled false");
    }
    return enabled;
}

// Sets ssid to the name of this device's hotspot. Returns false if the name is not available (logged).
bool ReadHotspotName(std::string& ssid)
{
    const std::shared_ptr<Wifi::WifiHotspot> hotspot = Wifi::WifiHotspot::GetInstance(WIFI_HOTSPOT_SYS_ABILITY_ID, 0);
    if (!hotspot) {
        NETMGR_EXT_LOGE(" WifiHotspot wifiHotspotPtr == nullptr!");
        return false;
    }
    Wifi::HotspotConfig config;
    const int32_t ret = hotspot->GetHotspotConfig(config);
    if (ret != Wifi::WIFI_OK) {
        NETMGR_EXT_LOGE(" GetHotspotConfig error: %{public}d", ret);
        return false;
    }
    ssid = config.GetSsid();
    return true;
}

bool ReadFirstBssid(std::string& bssid)
{
    const std::shared_ptr<Wifi::WifiDevice> device = Wifi::WifiDevice::GetInstance(WIFI_DEVICE_SYS_ABILITY_ID, 0);
    if (!device) {
        NETMGR_EXT_LOGE(" WifiDevice wifiDevicePtr == nullptr!");
        return false;
    }
    std::vector<Wifi::WifiDeviceConfig> configs;
    const int32_t ret = device->GetDeviceConfigs(configs, false);
    if (ret != Wifi::WIFI_OK) {
        NETMGR_EXT_LOGE(" GetDeviceConfigs error: %{public}d", ret);
        return false;
    }
    if (!configs.empty()) {
        bssid = configs.front().bssid;
    }
    return true;
}

// Adds a text member to root. read: returns the text. If read fails, the member is an empty string.
int32_t AddTextItem(cJSON* root, const char* name, bool (*read)(std::string& text))
{
    cJSON* item = AddItem(root, name, "string");
    if (item == nullptr) {
        return DISTNET_ERR_GENERAL;
    }
    std::string text;
    const bool isRead = read(text);
    cJSON_AddStringToObject(item, "value", isRead ? text.c_str() : "");
    return isRead ? DISTNET_SUCCESS : DISTNET_ERR_GENERAL;
}

}  // namespace

int32_t DistNetService::GetAvailableDeviceList(std::vector<DmDeviceInfo>& deviceList)
{
    if (runningState_ != STATE_RUNNING) {
        NETMGR_EXT_LOGE(" GetAvailableDeviceList service state no run");
        return DISTNET_ERR_GENERAL;
    }
    return RunSynchronously([this, &deviceList] { return GetAvailableDeviceListAsync(deviceList); });
}

int32_t DistNetService::GetAvailableDeviceListAsync(std::vector<DmDeviceInfo>& deviceList)
{
    NETMGR_EXT_LOGI(" DistNetService::GetAvailableDeviceListAsync");
    DeviceManagerAdapter::GetInstance()->GetTrustedDeviceList(deviceList);
    if (deviceList.empty()) {
        NETMGR_EXT_LOGE(" GetAvailableDeviceListAsync deviceList empty");
        return DISTNET_ERR_NO_DEVICE;
    }
    return DISTNET_SUCCESS;
}

int32_t DistNetService::GetRemoteDeviceInfo(std::vector<std::string> items, std::string& result)
{
    NETMGR_EXT_LOGI(" GetRemoteDeviceInfo start...");
    if (runningState_ != STATE_RUNNING) {
        NETMGR_EXT_LOGE(" GetRemoteDeviceInfo service state no run");
        return DISTNET_ERR_GENERAL;
    }
    return RunSynchronously([this, &items, &result] { return GetRemoteDeviceInfoAsync(items, result); });
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): same parameters as in the remote interface
int32_t DistNetService::GetRemoteDeviceInfoAsync(std::vector<std::string> items, std::string& result)
{
    const MutexLock lock(remoteInfoMutex_);
    NETMGR_EXT_LOGI(" GetRemoteDeviceInfoAsync start");
    EventInfo info;
    EventReport::SendGetRemoteDeviceInfoBehaviorEvent(info);
    QuTrace::StartSyncQuTrace("DistNetService GetRemoteDeviceInfoAsync start");
    const Json root = NewObject();
    if (!root) {
        return DISTNET_ERR_GENERAL;
    }
    for (const std::string& name : items) {
        for (const CapabilityItem& item : CAPABILITY_ITEMS) {
            if (name == item.name && (this->*item.answer)(root.get()) != DISTNET_SUCCESS) {
                info.errorCode = item.errorCode;
                info.errorMsg = item.errorMessage;
                EventReport::SendGetRemoteDeviceInfoFaultEvent(info);
                item.logFailure();
            }
        }
    }
    result = FormattedJson(root.get());
    QuTrace::FinishSyncQuTrace("DistNetService GetRemoteDeviceInfoAsync end");
    return DISTNET_SUCCESS;
}

int32_t DistNetService::SupportSmartHotSpot(cJSON* root)
{
    NETMGR_EXT_LOGI(" SupportSmartHotSpot start");
    cJSON* item = AddItem(root, "supportSmartHotSpot", "boolean");
    if (item == nullptr) {
        return DISTNET_ERR_GENERAL;
    }
    bool isSupported = IsSimReady();
    if (isSupported) {
        // Queries both SIM slots, also if the radio of the first slot is on.
        const bool isFirstOn = IsRadioOn(0);
        const bool isSecondOn = IsRadioOn(1);
        isSupported = (isFirstOn || isSecondOn) && IsCellularDataOn();
    }
    cJSON_AddBoolToObject(item, "value", isSupported);
    return DISTNET_SUCCESS;
}

int32_t DistNetService::GetHotspotName(cJSON* root)
{
    NETMGR_EXT_LOGI(" GetHotspotName start");
    return AddTextItem(root, "hotspotName", ReadHotspotName);
}

int32_t DistNetService::GetCurrentBssid(cJSON* root)
{
    NETMGR_EXT_LOGI(" GetCurrentBssid start");
    return AddTextItem(root, "bssid", ReadFirstBssid);
}

bool DistNetService::IsRadioOn(int32_t slotId)
{
    const auto callback = MakeSptr<GetRadioStateCallback>(this);
    const MutexLock lock(radioMutex_);
    // The answer to an earlier query may have arrived after that query timed out. Such an answer is discarded here.
    isRadioStateReceived_ = false;
    const int32_t ret = CoreServiceClient::GetInstance().GetRadioState(slotId, callback);
    if (ret != Telephony::TELEPHONY_OK) {
        NETMGR_EXT_LOGE(" IsRadioOn error, %{public}d", ret);
        return false;
    }
    const std::chrono::milliseconds limit = RADIO_STATE_WAIT;
    const bool isReceived =
        radioCondition_.WaitFor(radioMutex_, limit, [this]() REQUIRES(radioMutex_) { return isRadioStateReceived_; });
    if (!isReceived) {
        NETMGR_EXT_LOGE(" GetRadioState timeout");
        return false;
    }
    isRadioStateReceived_ = false;
    NETMGR_EXT_LOGI(" IsRadioOn end");
    return isRadioOn_;
}

void GetRadioStateCallback::OnGetRadioStateCallback(bool isOn, int32_t errorCode)
{
    NETMGR_EXT_LOGI(" OnGetRadioStateCallback isOn = %{public}d", isOn);
    if (service_ == nullptr) {
        NETMGR_EXT_LOGE(" OnGetRadioStateCallback service null");
        return;
    }
    const MutexLock lock(service_->radioMutex_);
    if (errorCode != Telephony::TELEPHONY_OK) {
        NETMGR_EXT_LOGE(" OnGetRadioStateCallback error = %{public}d", errorCode);
        isOn = false;
    }
    service_->isRadioOn_ = isOn;
    service_->isRadioStateReceived_ = true;
    service_->radioCondition_.NotifyAll();
}

}  // namespace Vexo::NetManagerStandard
