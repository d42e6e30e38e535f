// CollaborationListener: DataListener's counterpart for messages that arrive over collaborations: the same exchange
// (hotspot_exchange.h), with other answers to failure. A failing Wi-Fi call's own code goes to the peer; as the
// requesting device it counts an answer that parses as success, whatever joining then says; hellos are unknown here.
// Called on the framework's threads, several at once; handlers run there to their end. Message layouts: link_message.h.
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

    // Builds the handler table the first time; until then every message is unknown.
    void InitHandleMessageMap();
    // Checks size and pointer, but no session id, and hands a copy to the handler of its type; a type without one is
    // logged and dropped.
    void DataReceived(int sessionId, const char* data, unsigned int len);

    // Handlers; data is valid during the call.
    // Opens the hotspot and answers. Silent when there is no hotspot service: the requester times out.
    void HandleMessageStartHotSpot(int sessionId, unsigned char* data, unsigned int len);
    // Adds the received configuration, connects, and posts what parsing said: 0 also when joining failed. Drops an
    // answer that no request of this device waits for. Stops the collaboration in every case.
    void HandleMessageStartHotSpotResponse(int sessionId, unsigned char* data, unsigned int len);
    void HandleMessageUnknown(int sessionId, unsigned char* data, unsigned int len);

    // Sends the failure answer with result and stops the collaboration. Takes json over and deletes it. data is not
    // read.
    void HandlerSendStartMessage(int sessionId, cJSON* json, char* data, int result);
    // Fills json with the success answer for config and sends it; result is what sending returned. json stays the
    // caller's.
    void HandlerParkData(int sessionId, cJSON* json, const Wifi::HotspotConfig& config, char* data, int& result);

    // Frames message as a start-hotspot response and sends it. 0, DISTNET_ERR_INVALID_FRAME when it is too large,
    // DISTNET_ERR_MESSAGE_COPY, DISTNET_ERR_SEND, or DISTNET_ERR_RESPONSE_BUFFER without memory.
    int32_t SendStartHotspotResponseMessage(int sessionId, const std::string& message);
    // As ParseStartHotspotResponse (start_hotspot_response.h).
    int32_t ParseStartHotspotResponseMessage(unsigned char* data, unsigned int len, Wifi::WifiDeviceConfig& config);
    std::string ParseKeyMgmt(Wifi::KeyMgmt keyMgmt);

private:
    friend NeverDestroyed<CollaborationListener>;

    using MessageHandler = std::function<void(CollaborationListener*, int32_t, uint8_t*, uint32_t)>;

    CollaborationListener();
    ~CollaborationListener();

    std::once_flag mapOnce_;
    std::atomic<bool> isMapBuilt_{false};  // from then on the map is only read
    std::map<MESSAGE_TYPE, MessageHandler> handleMessageMap_;
};

}  // namespace Vexo::NetManagerStandard
