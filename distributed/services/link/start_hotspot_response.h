// The start-hotspot response as bytes: framing for the serving device, parsing for the requesting one. Pure but for
// their log lines; any thread. The layout: link_message.h. Used for both channels: data_listener.h,
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

// Frames the JSON text message. 0, DISTNET_ERR_INVALID_FRAME when it is too large, DISTNET_ERR_RESPONSE_BUFFER without
// memory (the one failure without a log line), or DISTNET_ERR_MESSAGE_COPY.
int32_t FrameStartHotspotResponse(const std::string& message, ResponseFrame& frame);

// Reads the frame of len bytes into config; a key that is missing or of another type leaves its field as it was.
// 0, DISTNET_ERR_INVALID_FRAME, DISTNET_ERR_MESSAGE_COPY, DISTNET_ERR_MESSAGE_JSON, or the peer's own non-zero "RES".
int32_t ParseStartHotspotResponse(const unsigned char* data, unsigned int len, Wifi::WifiDeviceConfig& config);

}  // namespace Vexo::NetManagerStandard
