#include "distributed/services/link/collaboration_listener.h"

#include "distributed/services/link/collaboration.h"
#include "distributed/services/link/hotspot_exchange.h"
#include "distributed/services/link/start_hotspot_response.h"
#include "distributed/services/utils/distnet_errors.h"
#include "distributed/services/utils/net_mgr_log_wrapper.h"
#include "platform/base/securec.h"
#include "platform/collaboration/collaboration_ability.h"

namespace Vexo::NetManagerStandard {

CollaborationListener& CollaborationListener::GetInstance()
{
    static NeverDestroyed<CollaborationListener> instance;
    return instance.value;
}

CollaborationListener::CollaborationListener()
{
    NETMGR_EXT_LOGI(" create CollaborationListener object success");
}

CollaborationListener::~CollaborationListener()
{
    NETMGR_EXT_LOGE(" CollaborationListener destructed");
}

void CollaborationListener::InitHandleMessageMap()
{
    // This log text names CollaborationCallback, but CollaborationListener writes it.
    NETMGR_EXT_LOGI(" CollaborationCallback::InitHandleMessageMap");
    std::call_once(mapOnce_, [this] {
        handleMessageMap_ = {
            {MESSAGE_TYPE_START_HOTSPOT, &CollaborationListener::HandleMessageStartHotSpot},
            {MESSAGE_TYPE_START_HOTSPOT_RESPONSE, &CollaborationListener::HandleMessageStartHotSpotResponse},
        };
        isMapBuilt_ = true;
    });
}

void CollaborationListener::DataReceived(int sessionId, const char* data, unsigned int len)
{
    NETMGR_EXT_LOGI(" onDataReceived, sessionId: %{public}d, dataLen:%{public}u", sessionId, len);
    if (data == nullptr || len < MIN_RECEIVED_MESSAGE_SIZE || len > MAX_RECEIVED_MESSAGE_SIZE) {
        NETMGR_EXT_LOGE(" onDataReceived param check failed");
        return;
    }
    const MessageBytes bytes = ZeroedBytes(len);
    if (!bytes) {
        NETMGR_EXT_LOGE(" onDataReceived: malloc memory failed");
        return;
    }
    if (memcpy_s(bytes.get(), len, data, len) != SECUREC_OK) {
        NETMGR_EXT_LOGE(" onDataReceived: memcpy memory failed");
        return;
    }
    const uint8_t messageType = bytes[0];
    NETMGR_EXT_LOGI(" onDataReceived, messageType is %{public}u", messageType);
    if (isMapBuilt_) {
        const auto entry = handleMessageMap_.find(static_cast<MESSAGE_TYPE>(messageType));
        if (entry != handleMessageMap_.end() && entry->second) {
            entry->second(this, sessionId, bytes.get(), len);
            return;
        }
    }
    NETMGR_EXT_LOGI(" HandleMessageUnknown");
}

void CollaborationListener::HandleMessageUnknown(int, unsigned char*, unsigned int) {}

void CollaborationListener::HandleMessageStartHotSpot(int sessionId, unsigned char* data, unsigned int)
{
    NETMGR_EXT_LOGI(" HandleMessageStartHotSpot start");
    PreparedAnswer answer = PrepareAnswer();
    if (answer.json == nullptr) {
        return;
    }
    if (answer.result != Wifi::WIFI_OK) {
        HandlerSendStartMessage(sessionId, answer.json.release(), reinterpret_cast<char*>(data), answer.result);
        return;
    }
    int result = 0;
    HandlerParkData(sessionId, answer.json.get(), answer.config, reinterpret_cast<char*>(data), result);
    if (result != DISTNET_SUCCESS) {
        NETMGR_EXT_LOGE(" SendStartHotspotResponseMessage error: %{public}d", result);
        Collaboration::GetInstance().StopCollaboration(sessionId);
    }
}

void CollaborationListener::HandlerSendStartMessage(int sessionId, cJSON* json, char*, int result)
{
    const Json answer(json);
    SendStartHotspotResponseMessage(sessionId, PrintFailureAnswer(json, result));
    Collaboration::GetInstance().StopCollaboration(sessionId);
}

void CollaborationListener::HandlerParkData(int sessionId, cJSON* json, const Wifi::HotspotConfig& config, char*,
                                            int& result)
{
    result = SendStartHotspotResponseMessage(sessionId, PrintSuccessAnswer(json, config));
}

void CollaborationListener::HandleMessageStartHotSpotResponse(int sessionId, unsigned char* data, unsigned int len)
{
    NETMGR_EXT_LOGI(" HandleMessageStartHotSpotResponse start");
    Collaboration& collaboration = Collaboration::GetInstance();
    if (!collaboration.ClaimAnswer(sessionId)) {
        collaboration.StopCollaboration(sessionId);
        return;
    }
    Wifi::WifiDeviceConfig config;
    const int32_t result = ParseStartHotspotResponseMessage(data, len, config);
    if (result != DISTNET_SUCCESS) {
        NETMGR_EXT_LOGE(" ParseStartHotspotResponseMessage error: %{public}d", result);
    } else {
        NETMGR_EXT_LOGI(" HandleMessageStartHotSpotResponse AddDeviceConfig start");
        // The waiting request receives the result of parsing. A failure to join the hotspot is only logged.
        (void)JoinHotspot(config);
    }
    collaboration.StopCollaborationCondition(sessionId, result);
}

int32_t CollaborationListener::SendStartHotspotResponseMessage(int sessionId, const std::string& message)
{
    ResponseFrame frame;
    int32_t ret = FrameStartHotspotResponse(message, frame);
    if (ret != DISTNET_SUCCESS) {
        return ret;
    }
    const MessageTlvStartHotspotResponse response{.length = frame.size, .value = message};
    NETMGR_EXT_LOGI(" SendStartHotspotResponseMessage request: %{public}d, %{public}d, %{public}lu",
                    static_cast<int32_t>(response.type), static_cast<int32_t>(response.length), response.value.size());
    ret = CollaborationFwk::CollaborationAbility::GetInstance().SendCollaborationData(sessionId, frame.bytes.get(),
                                                                                      frame.size);
    if (ret != 0) {
        NETMGR_EXT_LOGE(" SendCollaborationData fail, errorCode:%{public}d", ret);
        return DISTNET_ERR_SEND;
    }
    return DISTNET_SUCCESS;
}

int32_t CollaborationListener::ParseStartHotspotResponseMessage(unsigned char* data, unsigned int len,
                                                                Wifi::WifiDeviceConfig& config)
{
    return ParseStartHotspotResponse(data, len, config);
}

std::string CollaborationListener::ParseKeyMgmt(Wifi::KeyMgmt keyMgmt)
{
    return KeyMgmtText(keyMgmt);
}

}  // namespace Vexo::NetManagerStandard
