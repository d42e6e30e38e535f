// DeviceState: the content of device-state.json, which describes a simulated device: screen, battery, SIMs, radios,
// Wi-Fi and injected faults. The file is input of this program. A program that changes the file must replace it by
// rename; a running device then reads it again. One table of keys (device_state_keys.cpp) is used for parsing, setting,
// showing and documenting the keys. The types are value types, and the functions have no state. Any thread may use
// them. Functions with a folder parameter block on the disk.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/base/named_values.h"
#include "platform/base/result.h"
#include "platform/telephony/core_service_client.h"

namespace Vexo::Simulated {

inline constexpr const char* DEVICE_STATE_FILE = "device-state.json";

enum class HotspotSecurity : int32_t { OPEN = 0, WPA2 = 1, WPA3 = 2 };
// The names of the HotspotSecurity values in device-state.json and in the records of the air (air.h).
inline constexpr NamedValue<HotspotSecurity> SECURITY_NAMES[] = {
    {"open", HotspotSecurity::OPEN}, {"wpa2", HotspotSecurity::WPA2}, {"wpa3", HotspotSecurity::WPA3}};
inline const char* SecurityName(HotspotSecurity security)
{
    return NameOf(SECURITY_NAMES, security);
}

// The platform calls for which a fault can be injected. CALL_NAMES (device_state_keys.cpp) has the same order.
enum class PlatformCall : size_t {
    HOTSPOT_IS_ACTIVE,
    HOTSPOT_ENABLE,
    HOTSPOT_DISABLE,
    HOTSPOT_GET_CONFIG,
    WIFI_GET_CONFIGS,
    WIFI_ADD_CONFIG,
    WIFI_CONNECT,
    TELEPHONY_SIM_STATE,
    TELEPHONY_RADIO_STATE,
    // The callback of a radio state query. Fault::code is the errorCode that the callback gets. Fault::delay is the
    // time before the callback. With Fault::noAnswer, the callback is called only when the device stops.
    TELEPHONY_RADIO_CALLBACK,
    TELEPHONY_CELLULAR_DATA,
    COUNT
};
// Returns the call's key below "faults", such as "hotspot.enable" for HOTSPOT_ENABLE.
const char* PlatformCallName(PlatformCall call);

// The fault of a platform call. code: the result of the call; 0: the call works normally after the delay. delay: how
// long the call blocks first. noAnswer: if true, delay and code are ignored; the call blocks for 10 s and returns the
// code with which its interface reports a radio that does not answer.
struct Fault {
    int32_t code = 0;
    std::chrono::milliseconds delay{0};
    bool noAnswer = false;
    bool operator==(const Fault&) const = default;
};

// A network that the user has saved and that a scan finds.
struct NetworkInReach {
    std::string name;
    uint8_t strengthPercent = 0;
    bool operator==(const NetworkInReach&) const = default;
};

// Whether this device has internet to share. AUTO: only if the device has an uplink. ON: always. OFF: never.
enum class UplinkInternet : uint8_t { AUTO, ON, OFF };

// Where the result of the online check of a joined network comes from. AIR: from the hotspot's record in the air
// (air.h). UNKNOWN: the check has no result.
enum class OnlineCheck : uint8_t { AIR, UNKNOWN };

// The content of device-state.json. Each member is a key of the file; DescribeDeviceState explains the keys. The
// defaults describe a healthy phone.
struct DeviceState {
    bool screenOn = true;
    bool batteryLow = false;
    bool cellularData = true;
    std::array<Telephony::SimState, Telephony::SIM_SLOT_COUNT> sims{Telephony::SimState::LOADED,
                                                                    Telephony::SimState::NOT_PRESENT};
    std::array<bool, Telephony::SIM_SLOT_COUNT> radio{true, false};
    bool wifiEnabled = true;
    bool stationPresent = true;
    bool hotspotPresent = true;
    std::chrono::milliseconds joinTime{0};
    std::string hotspotSsid;  // empty: derived from the device's name
    std::string hotspotKey;   // empty: generated. Secret
    HotspotSecurity hotspotSecurity = HotspotSecurity::WPA2;
    std::chrono::milliseconds hotspotStartTime{0};
    bool hotspotActiveAtStart = false;
    std::string ownWifi;  // the user's own network; empty: none
    bool hasOwnWire = false;
    std::vector<NetworkInReach> inReach;
    bool sessionActive = true;
    bool leftByHand = false;
    std::optional<uint8_t> batteryPercent;
    bool batteryCharging = false;
    UplinkInternet uplinkInternet = UplinkInternet::AUTO;
    std::string uplinkTechnology = "4G";
    std::optional<uint8_t> uplinkSignal;
    bool uplinkMetered = true;
    uint64_t receivedBytes = 0;  // bytes that this station has received over its connection
    uint64_t sentBytes = 0;
    OnlineCheck onlineCheck = OnlineCheck::AIR;
    std::array<Fault, static_cast<size_t>(PlatformCall::COUNT)> faults;

    const Fault& FaultOf(PlatformCall call) const { return faults[static_cast<size_t>(call)]; }
    bool operator==(const DeviceState&) const = default;
};

// Parses the content of device-state.json. Keys that are missing keep their defaults. The error names the file and the
// dotted key, and says what is wrong and what is allowed. It never contains a Wi-Fi key.
[[nodiscard]] Result<DeviceState> ParseDeviceState(const std::string& json,
                                                   const std::string& fileName = DEVICE_STATE_FILE);

// Returns the text of device-state.json for this state. It contains every key, but only the faults that are set.
// ParseDeviceState restores the same state from this text.
std::string SerializeDeviceState(const DeviceState& state);

// Sets one key from text that a person has typed, such as the key "sims.0.state" and the value "ready". On an error the
// state is unchanged.
[[nodiscard]] Result<void> SetByPath(DeviceState& state, std::string_view key, std::string_view value);

// One key of device-state.json: its description, and its value in a given state.
struct DeviceStateEntry {
    std::string key;      // such as "sims.0.state"
    std::string value;    // in the form for SetByPath; for the Wi-Fi key only "set" or "generated"
    std::string allowed;  // such as "on or off" or "0 to 60000"
    std::string help;     // what the key means, one phrase
    bool isDefault = false;
    bool isText = false;  // false: value is JSON (a number, true or false)
};
std::vector<DeviceStateEntry> DescribeDeviceState(const DeviceState& state);

// Reads device-state.json in the given folder. A missing file is an error.
[[nodiscard]] Result<DeviceState> LoadDeviceState(const std::filesystem::path& folder);
// Writes device-state.json in the given folder. Replaces the file by rename. The new file has mode 0600.
[[nodiscard]] Result<void> SaveDeviceState(const std::filesystem::path& folder, const DeviceState& state);

// Applies assignments, such as "screen=off", to device-state.json in the given folder. Applies all of them or none.
// Returns the new state. Concurrent updates wait for each other, so that no update is lost.
[[nodiscard]] Result<DeviceState> UpdateDeviceState(const std::filesystem::path& folder,
                                                    const std::vector<std::string>& assignments);

}  // namespace Vexo::Simulated
