// The messages of the device-to-device link: byte 0 is the type, the rest depends on it. Records without behaviour,
// built and used on one thread. Sent and received over soft bus sessions (soft_bus_adapter.h, data_listener.h) and over
// collaborations (collaboration.h, collaboration_listener.h).
//   hello                   01 02 00 03
//   start hotspot           03 02 00          receivers look at the type only
//   start hotspot response  04, u32 length little-endian, then that many bytes of JSON without a terminating NUL:
//                           {"RES": 0, "SSID", "PRESHARED_KEY", "SECURITY_TYPE": a Wifi::KeyMgmt}, or "RES" alone:
//                           why not
#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "platform/wifi/wifi_types.h"

namespace Vexo::NetManagerStandard {

enum MESSAGE_TYPE : int {
    MESSAGE_TYPE_HELLO = 1,
    MESSAGE_TYPE_HELLO_RESPONSE = 2,
    MESSAGE_TYPE_START_HOTSPOT = 3,
    MESSAGE_TYPE_START_HOTSPOT_RESPONSE = 4,
};

inline constexpr uint32_t MAX_SEND_MESSAGE_SIZE = 46080;  // the largest response that is sent
inline constexpr uint32_t MIN_RECEIVED_MESSAGE_SIZE = 3;
inline constexpr uint32_t MAX_RECEIVED_MESSAGE_SIZE = 4 * 1024 * 1024;
inline constexpr uint32_t MESSAGE_TYPE_START_HOTSPOT_RESPONSE_LENGTH = 5;  // type and length: the smallest response

struct FreeMessageBytes {
    void operator()(uint8_t* bytes) const { std::free(bytes); }
};
using MessageBytes = std::unique_ptr<uint8_t[], FreeMessageBytes>;

// size bytes of zero; null without memory.
MessageBytes ZeroedBytes(size_t size);

struct MessageTlvHelloRequest {
    uint8_t type = MESSAGE_TYPE_HELLO;
    uint8_t length = 2;
    uint8_t value0 = 0;
    uint8_t value1 = 3;

    // A copy of the message's 4 bytes; null without memory.
    MessageBytes getBytes() const;
};

struct MessageTlvStartHotspotRequest {
    uint8_t type = MESSAGE_TYPE_START_HOTSPOT;
    // Not the count of the bytes that follow: peers send and expect 2 here.
    uint8_t length = 2;
    uint8_t value = 0;

    // A copy of the message's 3 bytes; null without memory.
    MessageBytes getBytes() const;
};

// What the log says of a response that is sent. The frame carries the real length; the one here stays as it is.
struct MessageTlvStartHotspotResponse {
    uint8_t type = MESSAGE_TYPE_START_HOTSPOT_RESPONSE;
    uint32_t length = 2;
    std::string value;
};

// The key management of a Wi-Fi device configuration for a received security type. Everything that is not open or
// WPA-EAP joins as "WPA-PSK" up to 4; beyond, the string is empty, which leaves the choice to what the air says.
std::string KeyMgmtText(Wifi::KeyMgmt keyMgmt);

}  // namespace Vexo::NetManagerStandard
