// BluetoothAddress: the address at which a device accepts Bluetooth Low Energy channels, as text
// "AA:BB:CC:DD:EE:FF/random/128". Also the service data by which a device announces itself over Bluetooth. Value types
// and functions without state. Any thread may use them. No call blocks. The formats: docs/link.md.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/base/result.h"

namespace Vexo::Linux {

// The channel numbers (PSM: protocol/service multiplexer) that programs may listen on over Low Energy.
inline constexpr uint16_t FIRST_PSM = 0x80;
inline constexpr uint16_t LAST_PSM = 0xff;

struct BluetoothAddress {
    std::array<uint8_t, 6> bytes{};  // the most significant first, as in the text; all 0: any adapter
    bool isRandom = false;           // a random device address, else a public one
    uint16_t psm = 0;                // 0: none

    bool operator==(const BluetoothAddress&) const = default;
};

// Parses the text form of an address. The error says what is wrong and what is allowed.
Result<BluetoothAddress> ParseBluetoothAddress(const std::string& text);
std::string ToText(const BluetoothAddress& address);
// The text form without the channel number: "AA:BB:CC:DD:EE:FF/random".
std::string DeviceOf(const BluetoothAddress& address);

// The UUID of the service data that devices advertise.
inline constexpr const char* BLUETOOTH_SERVICE_UUID = "328ec68a-93d3-4df2-9135-c8cacf5130a5";

struct BluetoothServiceData {
    uint16_t psm = 0;
    std::string token;  // Trust::TOKEN_BYTES

    bool operator==(const BluetoothServiceData&) const = default;
};

std::vector<uint8_t> EncodeServiceData(const BluetoothServiceData& data);
// Returns nothing for bytes of another version or length, or without a channel number that programs may use.
std::optional<BluetoothServiceData> DecodeServiceData(const std::vector<uint8_t>& bytes);

}  // namespace Vexo::Linux
