// The start-hotspot response as bytes: the serving device builds the frame, and the requesting device parses it. The
// functions have no state, may log, and may be called on any thread. Layout: link_message.h. Callers: data_listener.h,
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

// Builds the frame for a JSON text. Returns 0; DISTNET_ERR_INVALID_FRAME if the frame is larger than
// MAX_SEND_MESSAGE_SIZE; DISTNET_ERR_RESPONSE_BUFFER if memory is short (not logged); or DISTNET_ERR_MESSAGE_COPY if
// the text cannot be copied. Every other failure is logged.
int32_t FrameStartHotspotResponse(const std::string& message, ResponseFrame& frame);

// Parses a frame of len bytes into config. If a JSON key is missing or its value has the wrong type, its field in
// config is not changed. Returns 0; DISTNET_ERR_INVALID_FRAME if the frame is too short; DISTNET_ERR_MESSAGE_COPY if
// the frame's length field is 0 or smaller than the received text; DISTNET_ERR_MESSAGE_JSON if the text is not JSON; or
// the peer's "RES" value if this value is not 0.
int32_t ParseStartHotspotResponse(const unsigned char* data, unsigned int len, Wifi::WifiDeviceConfig& config);

}  // namespace Vexo::NetManagerStandard
