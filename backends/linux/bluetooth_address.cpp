#include "backends/linux/bluetooth_address.h"

#include <cstddef>
#include <cstdio>

#include "platform/base/check.h"
#include "platform/base/number.h"
#include "platform/trust/announcement_tokens.h"

namespace Vexo::Linux {
namespace {

constexpr size_t ADDRESS_CHARACTERS = 17;  // "AA:BB:CC:DD:EE:FF"
constexpr size_t CHARACTERS_OF_BYTE = 3;   // two digits and a colon

constexpr uint8_t SERVICE_DATA_VERSION = 1;
constexpr size_t SERVICE_DATA_HEADER = 2;  // version and channel number

std::optional<std::array<uint8_t, 6>> ParseBytes(std::string_view text)
{
    std::array<uint8_t, 6> bytes{};
    if (text.size() != ADDRESS_CHARACTERS) {
        return std::nullopt;
    }
    for (size_t i = 0; i < bytes.size(); ++i) {
        const size_t start = i * CHARACTERS_OF_BYTE;
        const auto byte = ParseNumber<uint8_t>(text.substr(start, 2), 16);
        if (!byte || (i + 1 < bytes.size() && text[start + 2] != ':')) {
            return std::nullopt;
        }
        bytes[i] = *byte;
    }
    return bytes;
}

bool IsUsable(uint16_t psm)
{
    return psm >= FIRST_PSM && psm <= LAST_PSM;
}

}  // namespace

Result<BluetoothAddress> ParseBluetoothAddress(const std::string& text)
{
    const auto wrong = [&](const std::string& what) {
        return Fail(ErrorCode::INVALID_ARGUMENT, "address \"" + text + "\" " + what);
    };
    const size_t afterBytes = text.find('/');
    const size_t afterType = afterBytes == std::string::npos ? afterBytes : text.find('/', afterBytes + 1);
    if (afterType == std::string::npos) {
        return wrong("is not of the form AA:BB:CC:DD:EE:FF/public/128");
    }
    const auto bytes = ParseBytes(std::string_view(text).substr(0, afterBytes));
    if (!bytes) {
        return wrong("does not begin with six bytes as in AA:BB:CC:DD:EE:FF");
    }
    const std::string type = text.substr(afterBytes + 1, afterType - afterBytes - 1);
    if (type != "public" && type != "random") {
        return wrong("has the type \"" + type + "\"; public and random are allowed");
    }
    const auto psm = ParseNumber<uint16_t>(std::string_view(text).substr(afterType + 1));
    if (!psm || !IsUsable(*psm)) {
        return wrong("has a wrong channel number; 128 to 255 are allowed");
    }
    return BluetoothAddress{*bytes, type == "random", *psm};
}

std::string DeviceOf(const BluetoothAddress& address)
{
    std::string text;
    for (const uint8_t byte : address.bytes) {
        std::array<char, CHARACTERS_OF_BYTE + 1> digits{};
        std::snprintf(digits.data(), digits.size(), text.empty() ? "%02X" : ":%02X", unsigned{byte});
        text += digits.data();
    }
    return text + (address.isRandom ? "/random" : "/public");
}

std::string ToText(const BluetoothAddress& address)
{
    return DeviceOf(address) + "/" + std::to_string(address.psm);
}

std::vector<uint8_t> EncodeServiceData(const BluetoothServiceData& data)
{
    DISTNET_ASSERT(IsUsable(data.psm) && data.token.size() == Trust::TOKEN_BYTES, "a bound channel and a token");
    std::vector<uint8_t> bytes(SERVICE_DATA_HEADER + Trust::TOKEN_BYTES);
    bytes[0] = SERVICE_DATA_VERSION;
    bytes[1] = static_cast<uint8_t>(data.psm);
    std::copy(data.token.begin(), data.token.end(), bytes.begin() + SERVICE_DATA_HEADER);
    return bytes;
}

std::optional<BluetoothServiceData> DecodeServiceData(const std::vector<uint8_t>& bytes)
{
    if (bytes.size() != SERVICE_DATA_HEADER + Trust::TOKEN_BYTES || bytes[0] != SERVICE_DATA_VERSION ||
        !IsUsable(bytes[1])) {
        return std::nullopt;
    }
    return BluetoothServiceData{bytes[1], std::string(bytes.begin() + SERVICE_DATA_HEADER, bytes.end())};
}

}  // namespace Vexo::Linux
