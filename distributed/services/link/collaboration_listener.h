// CollaborationListener: receives the messages of collaborations and runs the hotspot exchange (hotspot_exchange.h), as
// DataListener does for soft bus sessions. It differs from DataListener in three points:
// - If a Wi-Fi call of the serving device fails, the peer receives the code of that call.
// - The requesting device posts success for every answer that parses without error, also if joining fails.
// - It has no handlers for hello messages.
// Called on the framework's threads, concurrently; a handler runs to its end on the calling thread. Message layouts:
// link_message.h.
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

    // The first call builds the handler table. Before it, every message counts as unknown.
    void InitHandleMessageMap();
    // Checks the size and the pointer (not the session id), and passes a copy of the message to the handler of its
    // type. A message without a handler is logged and ignored.
    void DataReceived(int sessionId, const char* data, unsigned int len);

    // ---- Message handlers; data is valid only during the call.

    // Opens the hotspot and sends the answer. Sends nothing if this device has no hotspot service: the requester then
    // times out.
    void HandleMessageStartHotSpot(int sessionId, unsigned char* data, unsigned int len);
    // Adds the received configuration, connects, and posts the result of parsing: 0 also if joining fails. Ignores an
    // answer that no request of this device waits for. Then stops the collaboration.
    void HandleMessageStartHotSpotResponse(int sessionId, unsigned char* data, unsigned int len);
    void HandleMessageUnknown(int sessionId, unsigned char* data, unsigned int len);

    // Sends the failure answer with result and stops the collaboration. Takes ownership of json and deletes it. Ignores
    // data.
    void HandlerSendStartMessage(int sessionId, cJSON* json, char* data, int result);
    // Fills json with the success answer for config, sends it, and sets result to the code of sending. The caller keeps
    // the ownership of json. Ignores data.
    void HandlerParkData(int sessionId, cJSON* json, const Wifi::HotspotConfig& config, char* data, int& result);

    // Sends message in a start-hotspot response frame. Returns 0, DISTNET_ERR_SEND, or an error of
    // FrameStartHotspotResponse (start_hotspot_response.h).
    int32_t SendStartHotspotResponseMessage(int sessionId, const std::string& message);
    // Same as ParseStartHotspotResponse (start_hotspot_response.h).
    int32_t ParseStartHotspotResponseMessage(unsigned char* data, unsigned int len, Wifi::WifiDeviceConfig& config);
    std::string ParseKeyMgmt(Wifi::KeyMgmt keyMgmt);

private:
    friend NeverDestroyed<CollaborationListener>;

    using MessageHandler = std::function<void(CollaborationListener*, int32_t, uint8_t*, uint32_t)>;

    CollaborationListener();
    ~CollaborationListener();

    std::once_flag mapOnce_;
    std::atomic<bool> isMapBuilt_{false};  // once true, the map is not changed
    std::map<MESSAGE_TYPE, MessageHandler> handleMessageMap_;
};

}  // namespace Vexo::NetManagerStandard
