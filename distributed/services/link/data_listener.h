// DataListener: receives every message that arrives on a soft bus session and plays both roles of the hotspot exchange:
// as the serving device it opens its hotspot and answers with SSID, key and security type; as the requesting device it
// adds the answer as a Wi-Fi configuration, connects, and posts the outcome to the waiting request
// (soft_bus_adapter.h). Called on the soft bus's threads, concurrently for different sessions; a handler runs to its
// end on the calling thread. Message layouts: link_message.h.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include <cjson/cJSON.h>

#include "distributed/services/link/link_message.h"
#include "platform/base/mutex.h"
#include "platform/base/never_destroyed.h"
#include "platform/base/nocopyable.h"
#include "platform/wifi/wifi_types.h"

namespace Vexo::NetManagerStandard {

class DataListener : public NoCopyable {
public:
    static std::shared_ptr<DataListener> GetInstance();

    // Builds the handler table. Call before the session server is created; afterwards the table is not changed.
    void Init();
    void InitHandleMessageMap();

    int OnSessionOpened(int sessionId, int result);
    void OnSessionClosed(int sessionId);
    // Checks the size, the session id and the pointer, and passes a copy of the message to the handler of its type. A
    // message without a handler is ignored without a log line.
    void OnBytesReceived(int sessionId, const void* data, unsigned int len);

    // ---- Message handlers; data is valid only during the call.
    void HandleMessageHello(int sessionId, unsigned char* data, unsigned int len);
    void HandleMessageHelloResponse(int sessionId, unsigned char* data, unsigned int len);
    // Opens the hotspot and sends the answer. Sends nothing if this device has no hotspot service: the requester then
    // times out.
    void HandleMessageStartHotSpot(int sessionId, unsigned char* data, unsigned int len);
    // Adds the received configuration, connects, and posts 0 or the code of the failure. Ignores an answer that no
    // request of this device waits for. Then closes the session.
    void HandleMessageStartHotSpotResponse(int sessionId, unsigned char* data, unsigned int len);
    void HandleMessageUnknown(int sessionId, unsigned char* data, unsigned int len);
    void HandleMessageUnknownResponse(int sessionId, unsigned char* data, unsigned int len);

    // Sends the failure answer and closes the session. Takes ownership of json and deletes it. Sets message to the text
    // of the answer. Ignores data.
    void HandlerSendStartMessage(int sessionId, cJSON* json, std::string& message, char* data);
    // Fills json with the success answer for config, sends it, and sets message to its text and result to the code of
    // sending. The caller keeps the ownership of json. Ignores data.
    void HandlerParkData(int sessionId, cJSON* json, std::string& message, const Wifi::HotspotConfig& config,
                         char* data, int& result);

    // Sends message in a start-hotspot response frame. Returns 0; DISTNET_ERR_INVALID_FRAME if the frame is too large;
    // DISTNET_ERR_MESSAGE_COPY; DISTNET_ERR_SEND; or -1 if memory is short.
    int32_t SendStartHotspotResponseMessage(int sessionId, const std::string& message);
    // Same as ParseStartHotspotResponse (start_hotspot_response.h).
    int32_t ParseStartHotspotResponseMessage(unsigned char* data, unsigned int len, Wifi::WifiDeviceConfig& config);
    std::string ParseKeyMgmt(Wifi::KeyMgmt keyMgmt);

private:
    using MessageHandler = std::function<void(DataListener*, int32_t, uint8_t*, uint32_t)>;

    std::map<MESSAGE_TYPE, MessageHandler> handleMessageMap_;

    static NeverDestroyed<std::shared_ptr<DataListener>> instance_;
    static Mutex instanceMutex_;
    static std::atomic<bool> isInstanceCreated_;
};

}  // namespace Vexo::NetManagerStandard
