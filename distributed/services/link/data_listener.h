// DataListener: receives every message that arrives on a soft bus session and plays both roles of the hotspot exchange:
// as the serving device it opens its hotspot and answers with SSID, key and security type; as the requesting device it
// adds the answer as a Wi-Fi configuration, connects, and posts the outcome to the waiting request
// (soft_bus_adapter.h). Called on the sessions' strands, several at once; handlers run there to their end. Message
// layouts: link_message.h.
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

    // Builds the handler table. Before the session server exists; afterwards the table is only read.
    void Init();
    void InitHandleMessageMap();

    int OnSessionOpened(int sessionId, int result);
    void OnSessionClosed(int sessionId);
    // Checks size, session id and pointer, and hands a copy to the handler of its type; a type without one is dropped
    // silently.
    void OnBytesReceived(int sessionId, const void* data, unsigned int len);

    // Handlers; data is valid during the call.
    void HandleMessageHello(int sessionId, unsigned char* data, unsigned int len);
    void HandleMessageHelloResponse(int sessionId, unsigned char* data, unsigned int len);
    // Opens the hotspot and answers. Silent when there is no hotspot service: the requester times out.
    void HandleMessageStartHotSpot(int sessionId, unsigned char* data, unsigned int len);
    // Adds the received configuration, connects, and posts 0 or what failed. Drops an answer that no request of this
    // device waits for. Closes the session in every case.
    void HandleMessageStartHotSpotResponse(int sessionId, unsigned char* data, unsigned int len);
    void HandleMessageUnknown(int sessionId, unsigned char* data, unsigned int len);
    void HandleMessageUnknownResponse(int sessionId, unsigned char* data, unsigned int len);

    // Sends the failure answer and closes the session. Takes json over and deletes it; message receives the text that
    // was sent. data is not read.
    void HandlerSendStartMessage(int sessionId, cJSON* json, std::string& message, char* data);
    // Fills json with the success answer for config and sends it; result is what sending returned. json stays the
    // caller's.
    void HandlerParkData(int sessionId, cJSON* json, std::string& message, const Wifi::HotspotConfig& config,
                         char* data, int& result);

    // Frames message as a start-hotspot response and sends it. 0, DISTNET_ERR_INVALID_FRAME when it is too large,
    // DISTNET_ERR_MESSAGE_COPY, DISTNET_ERR_SEND, or -1 without memory.
    int32_t SendStartHotspotResponseMessage(int sessionId, const std::string& message);
    // As ParseStartHotspotResponse (start_hotspot_response.h).
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
