// DataListener: receives every message that arrives on a soft bus session, and plays both roles of the hotspot
// exchange. The serving device opens its hotspot and answers with the SSID, the key and the security type. The
// requesting device adds the answer as a Wi-Fi configuration, starts to connect, and posts the result to the waiting
// request (soft_bus_adapter.h). The soft bus's threads call this class concurrently for different sessions. Each
// handler runs to its end on the calling thread. Message layouts: link_message.h.
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

    // Builds the handler table, which does not change afterwards. Call this function before the session server is
    // created.
    void Init();
    void InitHandleMessageMap();

    int OnSessionOpened(int sessionId, int result);
    void OnSessionClosed(int sessionId);
    // Checks the size, the session id and the pointer. Passes a copy of the message to the handler of its type. A
    // message without a handler is ignored and not logged.
    void OnBytesReceived(int sessionId, const void* data, unsigned int len);

    // ---- Message handlers. Their parameter data is valid only during the call.
    void HandleMessageHello(int sessionId, unsigned char* data, unsigned int len);
    void HandleMessageHelloResponse(int sessionId, unsigned char* data, unsigned int len);
    // Opens the hotspot and sends the answer. If this device has no hotspot service, sends nothing, and the request of
    // the peer times out.
    void HandleMessageStartHotSpot(int sessionId, unsigned char* data, unsigned int len);
    // Adds the received Wi-Fi configuration, starts to connect, and posts 0 or the code of the failure. If no request
    // of this device waits for the answer, ignores the answer. Closes the session in every case.
    void HandleMessageStartHotSpotResponse(int sessionId, unsigned char* data, unsigned int len);
    void HandleMessageUnknown(int sessionId, unsigned char* data, unsigned int len);
    void HandleMessageUnknownResponse(int sessionId, unsigned char* data, unsigned int len);

    // Sends the failure answer, sets message to the text of this answer, and closes the session. Takes ownership of
    // json and deletes it. The parameter data is not used.
    void HandlerSendStartMessage(int sessionId, cJSON* json, std::string& message, char* data);
    // Fills json with the success answer for the given hotspot configuration and sends it. Sets message to the text of
    // the answer, and result to the code of sending. The caller still owns json. The parameter data is not used.
    void HandlerParkData(int sessionId, cJSON* json, std::string& message, const Wifi::HotspotConfig& config,
                         char* data, int& result);

    // Sends a start-hotspot response frame that contains message. Returns 0; DISTNET_ERR_INVALID_FRAME if the frame is
    // too large; DISTNET_ERR_MESSAGE_COPY; DISTNET_ERR_SEND; or -1 if memory is short.
    int32_t SendStartHotspotResponseMessage(int sessionId, const std::string& message);
    // Calls ParseStartHotspotResponse (start_hotspot_response.h) and returns its result.
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
