// The messages between two devices. Byte 0 of a message is its type, which decides the layout of the other bytes. The
// messages are plain structs, and each object is used on one thread. Messages are sent over soft bus sessions
// (soft_bus_adapter.h, data_listener.h) and over collaborations (collaboration.h, collaboration_listener.h).
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

inline constexpr uint32_t MAX_SEND_MESSAGE_SIZE = 46080;  // largest response that is sent, in bytes
inline constexpr uint32_t MIN_RECEIVED_MESSAGE_SIZE = 3;
inline constexpr uint32_t MAX_RECEIVED_MESSAGE_SIZE = 4 * 1024 * 1024;
inline constexpr uint32_t MESSAGE_TYPE_START_HOTSPOT_RESPONSE_LENGTH = 5;  // bytes of the type and the length field

struct FreeMessageBytes {
    void operator()(uint8_t* bytes) const { std::free(bytes); }
};
using MessageBytes = std::unique_ptr<uint8_t[], FreeMessageBytes>;

// Allocates size bytes, which are all zero. Returns null if memory is short.
MessageBytes ZeroedBytes(size_t size);

struct MessageTlvHelloRequest {
    uint8_t type = MESSAGE_TYPE_HELLO;
    uint8_t length = 2;
    uint8_t value0 = 0;
    uint8_t value1 = 3;

    // Returns a copy of the message's 4 bytes, or null if memory is short.
    MessageBytes getBytes() const;
};

struct MessageTlvStartHotspotRequest {
    uint8_t type = MESSAGE_TYPE_START_HOTSPOT;
    // The length is always 2, although only one byte follows.
    uint8_t length = 2;
    uint8_t value = 0;

    // Returns a copy of the message's 3 bytes, or null if memory is short.
    MessageBytes getBytes() const;
};

// The values that the log line about a sent response shows. The member length differs from the length field of the
// frame: a session sets the member to 2, and a collaboration sets the member to the size of the whole frame.
struct MessageTlvStartHotspotResponse {
    uint8_t type = MESSAGE_TYPE_START_HOTSPOT_RESPONSE;
    uint32_t length = 2;
    std::string value;
};

// Converts a received security type to the key management of a Wi-Fi device configuration: "NONE" for 0, "WPA-EAP" for
// 2, "WPA-PSK" for 1, 3 and 4. For any other value returns an empty string. The Wi-Fi device then uses the security
// that the hotspot announces.
std::string KeyMgmtText(Wifi::KeyMgmt keyMgmt);

}  // namespace Vexo::NetManagerStandard
