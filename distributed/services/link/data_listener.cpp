#include "distributed/services/link/data_listener.h"

#include <cstdlib>

#include "distributed/services/link/soft_bus_adapter.h"
#include "distributed/services/service/distnet_errors.h"
#include "distributed/services/utils/net_mgr_log_wrapper.h"
#include "distributed/services/utils/singleton.h"
#include "platform/ability/ability_ids.h"
#include "platform/base/securec.h"
#include "platform/wifi/wifi_device.h"
#include "platform/wifi/wifi_hotspot.h"

namespace Vexo::NetManagerStandard {
namespace {

struct FreeText {
    void operator()(char* text) const { cJSON_free(text); }
};

std::string PrintJson(const cJSON* json)
{
    const std::unique_ptr<char, FreeText> text(cJSON_Print(json));
    return text ? text.get() : "";
}

std::string PrintSuccessAnswer(cJSON* json, const Wifi::HotspotConfig& config)
{
    cJSON_AddNumberToObject(json, "RES", 0);
    cJSON_AddStringToObject(json, "SSID", config.GetSsid().c_str());
    cJSON_AddStringToObject(json, "PRESHARED_KEY", config.GetPreSharedKey().c_str());
    cJSON_AddNumberToObject(json, "SECURITY_TYPE", static_cast<int32_t>(config.GetSecurityType()));
    return PrintJson(json);
}

// Opens the hotspot where it is closed and reads how to join it. False after logging what failed.
bool OpenHotspot(Wifi::WifiHotspot& hotspot, Wifi::HotspotConfig& config)
{
    bool isActive = false;
    int32_t ret = hotspot.IsHotspotActive(isActive);
    if (ret != Wifi::WIFI_OK) {
        NETMGR_EXT_LOGE(" IsHotspotActive error: %{public}d", ret);
        return false;
    }
    if (!isActive) {
        ret = hotspot.EnableHotspot(Wifi::ServiceType::DEFAULT);
        if (ret != Wifi::WIFI_OK) {
            NETMGR_EXT_LOGE(" Enable hotspot error: %{public}d", ret);
            return false;
        }
    }
    ret = hotspot.GetHotspotConfig(config);
    if (ret != Wifi::WIFI_OK) {
        NETMGR_EXT_LOGE(" Get hotspot config error: %{public}d", ret);
        return false;
    }
    return true;
}

// Adds the configuration and connects. The result that the waiting request is to return.
int32_t JoinHotspot(const Wifi::WifiDeviceConfig& config)
{
    const std::shared_ptr<Wifi::WifiDevice> device = Wifi::WifiDevice::GetInstance(WIFI_DEVICE_SYS_ABILITY_ID, 0);
    if (!device) {
        // The peer did its part: its hotspot is open. A device without Wi-Fi of its own reports that as success.
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

}  // namespace

std::shared_ptr<DataListener> DataListener::instance_;
std::mutex DataListener::instanceMutex_;
std::atomic<bool> DataListener::isInstanceCreated_{false};

std::shared_ptr<DataListener> DataListener::GetInstance()
{
    return GetOrCreateInstance(instance_, instanceMutex_, isInstanceCreated_);
}

void DataListener::Init()
{
    NETMGR_EXT_LOGI(" DataListener::Init");
    InitHandleMessageMap();
}

void DataListener::InitHandleMessageMap()
{
    NETMGR_EXT_LOGI(" DataListener::InitHandleMessageMap");
    handleMessageMap_ = {
        {MESSAGE_TYPE_HELLO, &DataListener::HandleMessageHello},
        {MESSAGE_TYPE_HELLO_RESPONSE, &DataListener::HandleMessageHelloResponse},
        {MESSAGE_TYPE_START_HOTSPOT, &DataListener::HandleMessageStartHotSpot},
        {MESSAGE_TYPE_START_HOTSPOT_RESPONSE, &DataListener::HandleMessageStartHotSpotResponse},
    };
}

int DataListener::OnSessionOpened(int sessionId, int result)
{
    NETMGR_EXT_LOGI(" OnSessionOpened, id:%{public}d, result:%{public}d.", sessionId, result);
    return 0;
}

void DataListener::OnSessionClosed(int sessionId)
{
    NETMGR_EXT_LOGI(" OnSessionClosed, id:%{public}d.", sessionId);
}

void DataListener::OnBytesReceived(int sessionId, const void* data, unsigned int len)
{
    NETMGR_EXT_LOGI(" OnBytesReceived, sessionId: %{public}d, dataLen:%{public}u", sessionId, len);
    if (sessionId < 0 || data == nullptr || len < MIN_RECEIVED_MESSAGE_SIZE || len > MAX_RECEIVED_MESSAGE_SIZE) {
        NETMGR_EXT_LOGE(" OnBytesReceived param check failed");
        return;
    }
    const MessageBytes bytes(static_cast<uint8_t*>(std::calloc(len, sizeof(uint8_t))));
    if (!bytes) {
        NETMGR_EXT_LOGE(" OnBytesReceived: malloc memory failed");
        return;
    }
    if (memcpy_s(bytes.get(), len, data, len) != SECUREC_OK) {
        NETMGR_EXT_LOGE(" OnBytesReceived: memcpy memory failed");
        return;
    }
    const uint8_t messageType = bytes[0];
    NETMGR_EXT_LOGI(" OnBytesReceived , messageType is %{public}u", messageType);
    const auto entry = handleMessageMap_.find(static_cast<MESSAGE_TYPE>(messageType));
    if (entry == handleMessageMap_.end() || !entry->second) {
        return;
    }
    const MessageHandler handler = entry->second;
    handler(GetInstance().get(), sessionId, bytes.get(), len);
}

void DataListener::HandleMessageHello(int, unsigned char*, unsigned int) {}

void DataListener::HandleMessageHelloResponse(int, unsigned char*, unsigned int) {}

void DataListener::HandleMessageUnknown(int, unsigned char*, unsigned int) {}

void DataListener::HandleMessageUnknownResponse(int, unsigned char*, unsigned int) {}

void DataListener::HandleMessageStartHotSpot(int sessionId, unsigned char* data, unsigned int)
{
    NETMGR_EXT_LOGI(" HandleMessageStartHotSpot start");
    cJSON* json = cJSON_CreateObject();
    if (json == nullptr) {
        return;
    }
    const std::shared_ptr<Wifi::WifiHotspot> hotspot = Wifi::WifiHotspot::GetInstance(WIFI_HOTSPOT_SYS_ABILITY_ID, 0);
    if (!hotspot) {
        cJSON_Delete(json);
        return;
    }
    std::string message;
    // Read at once after enabling: the configuration is there before the radio is up, and the requester waits.
    Wifi::HotspotConfig config;
    if (!OpenHotspot(*hotspot, config)) {
        HandlerSendStartMessage(sessionId, json, message, reinterpret_cast<char*>(data));
        return;
    }
    int result = 0;
    HandlerParkData(sessionId, json, message, config, reinterpret_cast<char*>(data), result);
    if (result != DISTNET_SUCCESS) {
        NETMGR_EXT_LOGE(" SendStartHotspotResponseMessage error: %{public}d", result);
        SoftBusAdapter::GetInstance()->CloseSoftBusSession(sessionId);
    }
    cJSON_Delete(json);
}

void DataListener::HandlerSendStartMessage(int sessionId, cJSON* json, std::string& message, char*)
{
    cJSON_AddNumberToObject(json, "RES", HOTSPOT_FAIL_PEER);
    message = PrintJson(json);
    SendStartHotspotResponseMessage(sessionId, message);
    SoftBusAdapter::GetInstance()->CloseSoftBusSession(sessionId);
    cJSON_Delete(json);
}

void DataListener::HandlerParkData(int sessionId, cJSON* json, std::string& message, const Wifi::HotspotConfig& config,
                                   char*, int& result)
{
    message = PrintSuccessAnswer(json, config);
    result = SendStartHotspotResponseMessage(sessionId, message);
}

void DataListener::HandleMessageStartHotSpotResponse(int sessionId, unsigned char* data, unsigned int len)
{
    NETMGR_EXT_LOGI(" HandleMessageStartHotSpotResponse start");
    Wifi::WifiDeviceConfig config;
    int32_t result = ParseStartHotspotResponseMessage(data, len, config);
    if (result != DISTNET_SUCCESS) {
        NETMGR_EXT_LOGE(" ParseStartHotspotResponseMessage error: %{public}d", result);
    } else {
        result = JoinHotspot(config);
    }
    SoftBusAdapter::GetInstance()->CloseSessionCondition(sessionId, result);
}

}  // namespace Vexo::NetManagerStandard
