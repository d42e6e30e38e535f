#include "distributed/services/link/start_hotspot_response.h"

#include <utility>

#include "distributed/services/utils/distnet_errors.h"
#include "distributed/services/utils/net_mgr_log_wrapper.h"
#include "platform/base/json.h"
#include "platform/base/securec.h"

namespace Vexo::NetManagerStandard {
namespace {

constexpr uint32_t HEADER_SIZE = MESSAGE_TYPE_START_HOTSPOT_RESPONSE_LENGTH;
constexpr uint32_t LENGTH_BYTES = 4;
constexpr uint32_t LENGTH_OFFSET = 1;

void WriteLength(uint8_t* frame, uint32_t length)
{
    for (uint32_t i = 0; i < LENGTH_BYTES; ++i) {
        frame[LENGTH_OFFSET + i] = static_cast<uint8_t>(length >> (8 * i));
    }
}

uint32_t ReadLength(const uint8_t* frame)
{
    uint32_t length = 0;
    for (uint32_t i = 0; i < LENGTH_BYTES; ++i) {
        length |= static_cast<uint32_t>(frame[LENGTH_OFFSET + i]) << (8 * i);
    }
    return length;
}

const cJSON* NumberOf(const cJSON* json, const char* key)
{
    const cJSON* item = cJSON_GetObjectItemCaseSensitive(json, key);
    return cJSON_IsNumber(item) ? item : nullptr;
}

void ReadString(const cJSON* json, const char* key, std::string& field)
{
    const cJSON* item = cJSON_GetObjectItemCaseSensitive(json, key);
    if (cJSON_IsString(item) && item->valuestring != nullptr) {
        field = item->valuestring;
    }
}

}  // namespace

int32_t FrameStartHotspotResponse(const std::string& message, ResponseFrame& frame)
{
    const size_t frameSize = message.size() + HEADER_SIZE;
    if (frameSize > MAX_SEND_MESSAGE_SIZE) {
        NETMGR_EXT_LOGE(" SendStartHotspotResponseMessage error: message.size() > MAX_SEND_MESSAGE_SIZE");
        return DISTNET_ERR_INVALID_FRAME;
    }
    MessageBytes bytes = ZeroedBytes(frameSize);
    if (!bytes) {
        return DISTNET_ERR_RESPONSE_BUFFER;
    }
    bytes[0] = MESSAGE_TYPE_START_HOTSPOT_RESPONSE;
    WriteLength(bytes.get(), static_cast<uint32_t>(message.size()));
    if (memcpy_s(bytes.get() + HEADER_SIZE, message.size(), message.data(), message.size()) != SECUREC_OK) {
        NETMGR_EXT_LOGE(" memcpy memory failed");
        return DISTNET_ERR_MESSAGE_COPY;
    }
    frame = {std::move(bytes), static_cast<uint32_t>(frameSize)};
    return DISTNET_SUCCESS;
}

int32_t ParseStartHotspotResponse(const unsigned char* data, unsigned int len, Wifi::WifiDeviceConfig& config)
{
    if (len < HEADER_SIZE) {
        NETMGR_EXT_LOGE(" len less MESSAGE_TYPE_START_HOTSPOT_RESPONSE_LENGTH");
        return DISTNET_ERR_INVALID_FRAME;
    }
    const uint32_t declared = ReadLength(data);
    const uint32_t received = len - HEADER_SIZE;
    if (declared == 0 || received > declared) {
        NETMGR_EXT_LOGE(" memcpy data fail size:%{public}d", static_cast<int32_t>(declared));
        return DISTNET_ERR_MESSAGE_COPY;
    }
    // The peer may declare more bytes than it sends. The missing bytes count as zero bytes, and a zero byte ends a JSON
    // text. So only the received bytes are parsed.
    const Json json = ParseJson({reinterpret_cast<const char*>(data + HEADER_SIZE), received});
    if (!json) {
        NETMGR_EXT_LOGE(" json parse error");
        return DISTNET_ERR_MESSAGE_JSON;
    }
    if (const cJSON* res = NumberOf(json.get(), "RES"); res != nullptr && res->valueint != 0) {
        NETMGR_EXT_LOGE(" info[res] not success");
        return res->valueint;
    }
    if (const cJSON* type = NumberOf(json.get(), "SECURITY_TYPE"); type != nullptr) {
        config.keyMgmt = KeyMgmtText(static_cast<Wifi::KeyMgmt>(type->valueint));
    }
    ReadString(json.get(), "SSID", config.ssid);
    ReadString(json.get(), "PRESHARED_KEY", config.preSharedKey);
    NETMGR_EXT_LOGI(" ParseStartHotspotResponseMessage len:%{public}d", static_cast<int32_t>(declared));
    return DISTNET_SUCCESS;
}

}  // namespace Vexo::NetManagerStandard
