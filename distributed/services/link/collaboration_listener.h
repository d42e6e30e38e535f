// CollaborationListener: receives the messages of collaborations and runs the hotspot exchange (hotspot_exchange.h).
// The framework's threads call this class concurrently. Each handler runs to its end on the calling thread. Message
// layouts: link_message.h. The main differences from DataListener, which does the same for soft bus sessions:
// - If a Wi-Fi call of the serving device fails, the peer receives the code of this call, not HOTSPOT_FAIL_PEER.
// - On the requesting device, the waiting request receives success if the answer was parsed without error, even if this
//   device could not start to join the hotspot.
// - There are no handlers for hello messages.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>

#include <cjson/cJSON.h>

#include "distributed/services/link/link_message.h"
#include "platform/base/never_destroyed.h"
#include "platform/base/nocopyable.h"
#include "platform/wifi/wifi_types.h"

namespace Vexo::NetManagerStandard {

class CollaborationListener : public NoCopyable {
public:
    static CollaborationListener& GetInstance();

    // The first call builds the handler table. Before this call, every message is handled as unknown.
    void InitHandleMessageMap();
    // Checks the size and the pointer, but not the session id. Passes a copy of the message to the handler of its type.
    // A message without a handler is logged and ignored.
    void DataReceived(int sessionId, const char* data, unsigned int len);

    // ---- Message handlers. Their parameter data is valid only during the call.

    // Opens the hotspot and sends the answer. If this device has no hotspot service, sends nothing, and the request of
    // the peer times out.
    void HandleMessageStartHotSpot(int sessionId, unsigned char* data, unsigned int len);
    // Adds the received Wi-Fi configuration, starts to connect, and posts the result of parsing the answer. A failed
    // Wi-Fi call does not change this result. If no request of this device waits for the answer, ignores the answer.
    // Stops the collaboration in every case.
    void HandleMessageStartHotSpotResponse(int sessionId, unsigned char* data, unsigned int len);
    void HandleMessageUnknown(int sessionId, unsigned char* data, unsigned int len);

    // Sends a failure answer and stops the collaboration. Takes ownership of json and deletes it. result: the error
    // code in the answer. The parameter data is not used.
    void HandlerSendStartMessage(int sessionId, cJSON* json, char* data, int result);
    // Fills json with the success answer for the given hotspot configuration and sends it. Sets result to the code of
    // sending. The caller still owns json. The parameter data is not used.
    void HandlerParkData(int sessionId, cJSON* json, const Wifi::HotspotConfig& config, char* data, int& result);

    // Sends a start-hotspot response frame that contains message. Returns 0, DISTNET_ERR_SEND, or an error of
    // FrameStartHotspotResponse (start_hotspot_response.h).
    int32_t SendStartHotspotResponseMessage(int sessionId, const std::string& message);
    // Calls ParseStartHotspotResponse (start_hotspot_response.h) and returns its result.
    int32_t ParseStartHotspotResponseMessage(unsigned char* data, unsigned int len, Wifi::WifiDeviceConfig& config);
    std::string ParseKeyMgmt(Wifi::KeyMgmt keyMgmt);

private:
    friend NeverDestroyed<CollaborationListener>;

    using MessageHandler = std::function<void(CollaborationListener*, int32_t, uint8_t*, uint32_t)>;

    CollaborationListener();
    ~CollaborationListener();

    std::once_flag mapOnce_;
    std::atomic<bool> isMapBuilt_{false};  // true: the map does not change any more
    std::map<MESSAGE_TYPE, MessageHandler> handleMessageMap_;
};

}  // namespace Vexo::NetManagerStandard
