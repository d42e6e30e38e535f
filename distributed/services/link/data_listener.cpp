#include "distributed/services/link/data_listener.h"

#include "distributed/services/link/hotspot_exchange.h"
#include "distributed/services/link/soft_bus_adapter.h"
#include "distributed/services/link/start_hotspot_response.h"
#include "distributed/services/utils/distnet_errors.h"
#include "distributed/services/utils/net_mgr_log_wrapper.h"
#include "distributed/services/utils/singleton.h"
#include "platform/base/securec.h"
#include "platform/softbus/session.h"

namespace Vexo::NetManagerStandard {

NeverDestroyed<std::shared_ptr<DataListener>> DataListener::instance_;
Mutex DataListener::instanceMutex_;
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
    const MessageBytes bytes = ZeroedBytes(len);
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
    PreparedAnswer answer = PrepareAnswer();
    if (answer.json == nullptr) {
        return;
    }
    std::string message;
    if (answer.result != Wifi::WIFI_OK) {
        HandlerSendStartMessage(sessionId, answer.json.release(), message, reinterpret_cast<char*>(data));
        return;
    }
    int result = 0;
    HandlerParkData(sessionId, answer.json.get(), message, answer.config, reinterpret_cast<char*>(data), result);
    if (result != DISTNET_SUCCESS) {
        NETMGR_EXT_LOGE(" SendStartHotspotResponseMessage error: %{public}d", result);
        SoftBusAdapter::GetInstance()->CloseSoftBusSession(sessionId);
    }
}

void DataListener::HandlerSendStartMessage(int sessionId, cJSON* json, std::string& message, char*)
{
    const Json answer(json);
    message = PrintFailureAnswer(json, HOTSPOT_FAIL_PEER);
    SendStartHotspotResponseMessage(sessionId, message);
    SoftBusAdapter::GetInstance()->CloseSoftBusSession(sessionId);
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
    const std::shared_ptr<SoftBusAdapter> adapter = SoftBusAdapter::GetInstance();
    if (!adapter->ClaimAnswer(sessionId)) {
        adapter->CloseSoftBusSession(sessionId);
        return;
    }
    Wifi::WifiDeviceConfig config;
    int32_t result = ParseStartHotspotResponseMessage(data, len, config);
    if (result != DISTNET_SUCCESS) {
        NETMGR_EXT_LOGE(" ParseStartHotspotResponseMessage error: %{public}d", result);
    } else {
        result = JoinHotspot(config);
    }
    adapter->CloseSessionCondition(sessionId, result);
}

int32_t DataListener::SendStartHotspotResponseMessage(int sessionId, const std::string& message)
{
    ResponseFrame frame;
    int32_t ret = FrameStartHotspotResponse(message, frame);
    if (ret == DISTNET_ERR_RESPONSE_BUFFER) {
        NETMGR_EXT_LOGE(" SendStartHotspotResponseMessage: malloc memory failed");
        return -1;
    }
    if (ret != DISTNET_SUCCESS) {
        return ret;
    }
    const MessageTlvStartHotspotResponse response{.value = message};
    NETMGR_EXT_LOGI(" SendHelloMessage request: %{public}d, %{public}d, %{public}lu",
                    static_cast<int32_t>(response.type), static_cast<int32_t>(response.length), response.value.size());
    ret = SendBytes(sessionId, frame.bytes.get(), frame.size);
    if (ret != 0) {
        NETMGR_EXT_LOGE(" SendBytes fail, errorCode:%{public}d", ret);
        return DISTNET_ERR_SEND;
    }
    return DISTNET_SUCCESS;
}

int32_t DataListener::ParseStartHotspotResponseMessage(unsigned char* data, unsigned int len,
                                                       Wifi::WifiDeviceConfig& config)
{
    return ParseStartHotspotResponse(data, len, config);
}

std::string DataListener::ParseKeyMgmt(Wifi::KeyMgmt keyMgmt)
{
    return KeyMgmtText(keyMgmt);
}

}  // namespace Vexo::NetManagerStandard
