// BluetoothAddress: an address at which a device accepts Bluetooth Low Energy channels. Its text form is, for example,
// "AA:BB:CC:DD:EE:FF/random/128". This header also defines the service data that a device advertises so that others
// find it. The functions have no state. Any thread may use them, and no call blocks. docs/link.md describes the
// formats.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/base/result.h"

namespace Vexo::Linux {

// The range of the channel numbers (PSM: protocol/service multiplexer) at which a program may accept Bluetooth Low
// Energy channels.
inline constexpr uint16_t FIRST_PSM = 0x80;
inline constexpr uint16_t LAST_PSM = 0xff;

struct BluetoothAddress {
    std::array<uint8_t, 6> bytes{};  // the most significant byte first; all 0: any adapter
    bool isRandom = false;           // true: a random device address; false: a public one
    uint16_t psm = 0;                // channel number; 0: none

    bool operator==(const BluetoothAddress&) const = default;
};

// Parses the text form of an address. The error says what is wrong and what is allowed.
Result<BluetoothAddress> ParseBluetoothAddress(const std::string& text);
std::string ToText(const BluetoothAddress& address);
// Returns the text form without the channel number, such as "AA:BB:CC:DD:EE:FF/random".
std::string DeviceOf(const BluetoothAddress& address);

// The UUID of the service data that devices advertise.
inline constexpr const char* BLUETOOTH_SERVICE_UUID = "328ec68a-93d3-4df2-9135-c8cacf5130a5";

struct BluetoothServiceData {
    uint16_t psm = 0;
    std::string token;  // has Trust::TOKEN_BYTES bytes

    bool operator==(const BluetoothServiceData&) const = default;
};

std::vector<uint8_t> EncodeServiceData(const BluetoothServiceData& data);
// Decodes the result of EncodeServiceData. Returns nullopt if the version, the length or the channel number is invalid.
std::optional<BluetoothServiceData> DecodeServiceData(const std::vector<uint8_t>& bytes);

}  // namespace Vexo::Linux
