// The start-hotspot response as bytes: the serving device builds the frame, the requesting device parses it. Stateless
// functions that may log; any thread. Layout: link_message.h. Used for both channels: data_listener.h,
// collaboration_listener.h.
#pragma once

#include <cstdint>
#include <string>

#include "distributed/services/link/link_message.h"
#include "platform/wifi/wifi_types.h"

namespace Vexo::NetManagerStandard {

struct ResponseFrame {
    MessageBytes bytes;
    uint32_t size = 0;
};

// Builds the frame for message, a JSON text. Returns 0; DISTNET_ERR_INVALID_FRAME if the frame is larger than
// MAX_SEND_MESSAGE_SIZE; DISTNET_ERR_RESPONSE_BUFFER if memory is short (the only failure that is not logged); or
// DISTNET_ERR_MESSAGE_COPY if the text cannot be copied.
int32_t FrameStartHotspotResponse(const std::string& message, ResponseFrame& frame);

// Parses the frame of len bytes into config. A field whose JSON key is missing or has another type is not changed.
// Returns 0; DISTNET_ERR_INVALID_FRAME if the frame is too short; DISTNET_ERR_MESSAGE_COPY if its length field is 0 or
// smaller than the received text; DISTNET_ERR_MESSAGE_JSON if the text is not JSON; or the peer's "RES" if it is not 0.
int32_t ParseStartHotspotResponse(const unsigned char* data, unsigned int len, Wifi::WifiDeviceConfig& config);

}  // namespace Vexo::NetManagerStandard
