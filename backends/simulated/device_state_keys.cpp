#include "backends/simulated/device_state_keys.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <system_error>

namespace Vexo::Simulated {
namespace {

constexpr int64_t MAX_WAIT_MS = 60000;
constexpr size_t MAX_SSID_BYTES = 32;
constexpr size_t MIN_KEY_BYTES = 8;
constexpr size_t MAX_KEY_BYTES = 63;
constexpr uint8_t MAX_PERCENT = 100;
constexpr int64_t MAX_BYTE_COUNT = int64_t{1} << 53;

constexpr std::array<const char*, static_cast<size_t>(PlatformCall::COUNT)> CALL_NAMES{
    "hotspot.is_active",
    "hotspot.enable",
    "hotspot.disable",
    "hotspot.get_config",
    "wifi.get_configs",
    "wifi.add_config",
    "wifi.connect",
    "telephony.sim_state",
    "telephony.radio_state",
    "telephony.radio_callback",
    "telephony.cellular_data",
};
constexpr NamedValue<bool> SWITCH_NAMES[] = {{"off", false}, {"on", true}};
constexpr NamedValue<Telephony::SimState> SIM_STATE_NAMES[] = {
    {"unknown", Telephony::SimState::UNKNOWN}, {"not_present", Telephony::SimState::NOT_PRESENT},
    {"locked", Telephony::SimState::LOCKED},   {"not_ready", Telephony::SimState::NOT_READY},
    {"ready", Telephony::SimState::READY},     {"loaded", Telephony::SimState::LOADED}};
constexpr NamedValue<UplinkInternet> UPLINK_INTERNET_NAMES[] = {
    {"auto", UplinkInternet::AUTO}, {"on", UplinkInternet::ON}, {"off", UplinkInternet::OFF}};
constexpr NamedValue<OnlineCheck> ONLINE_CHECK_NAMES[] = {{"air", OnlineCheck::AIR}, {"unknown", OnlineCheck::UNKNOWN}};
constexpr const char* TECHNOLOGIES[] = {"2G", "3G", "4G", "5G"};

using Rows = std::vector<JsonKeyOf<DeviceState>>;
using Milliseconds = std::chrono::milliseconds;

// Returns the JsonKind of a text that is empty or has the length of a Wi-Fi key.
JsonKind<std::string> OptionalKeyKind()
{
    return TextKind("empty, or " + std::to_string(MIN_KEY_BYTES) + " to " + std::to_string(MAX_KEY_BYTES) + " bytes",
                    [](const std::string& text) {
                        const size_t size = text.size();
                        const bool isRight = size == 0 || (size >= MIN_KEY_BYTES && size <= MAX_KEY_BYTES);
                        return isRight ? "" : "has " + std::to_string(size) + " bytes";
                    });
}

// Returns the JsonKind of a percentage or the word "unknown".
JsonKind<std::optional<uint8_t>> PercentKind()
{
    return ValueKind<std::optional<uint8_t>>(
        "\"unknown\", or 0 to 100",
        [](const cJSON& json, std::optional<uint8_t>& out) -> std::string {
            if (cJSON_IsString(&json)) {
                const bool isUnknown = std::string_view(json.valuestring) == "unknown";
                out = isUnknown ? std::nullopt : out;
                return isUnknown ? "" : "is not allowed";
            }
            std::string wrong = WholeNumberFault(json, 0, MAX_PERCENT);
            if (wrong.empty()) {
                out = static_cast<uint8_t>(json.valuedouble);
            }
            return wrong;
        },
        [](const std::optional<uint8_t>& value) {
            return Json(value ? cJSON_CreateNumber(*value) : cJSON_CreateString("unknown"));
        });
}

// Parses a network name with its signal strength in percent, such as "office:80". The name may contain colons.
std::optional<NetworkInReach> ParseInReach(const std::string& text)
{
    const size_t colon = text.rfind(':');
    if (colon == std::string::npos || colon == 0) {
        return std::nullopt;
    }
    NetworkInReach network{text.substr(0, colon)};
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data() + colon + 1, end, network.strengthPercent);
    const bool isRight = error == std::errc() && stop == end && network.strengthPercent <= MAX_PERCENT;
    return isRight ? std::optional(network) : std::nullopt;
}

JsonKind<std::vector<NetworkInReach>> InReachKind()
{
    using Networks = std::vector<NetworkInReach>;
    const auto parse = [](const std::string& text, Networks& out) -> std::string {
        Networks networks;
        for (size_t from = 0; !text.empty() && from <= text.size();) {
            const size_t comma = std::min(text.find(',', from), text.size());
            const std::optional<NetworkInReach> network = ParseInReach(text.substr(from, comma - from));
            if (!network) {
                return "is not such a list";
            }
            networks.push_back(*network);
            from = comma + 1;
        }
        out = std::move(networks);
        return "";
    };
    const auto print = [](const Networks& networks) {
        std::string text;
        for (const NetworkInReach& network : networks) {
            text += (text.empty() ? "" : ",") + network.name + ":" + std::to_string(network.strengthPercent);
        }
        return text;
    };
    return ParsedTextKind<Networks>(R"(empty, or a list of NAME:PERCENT: "office:80,home:40")", parse, print);
}

JsonKind<std::string> TechnologyKind()
{
    return TextKind(QuotedAlternatives({std::begin(TECHNOLOGIES), std::end(TECHNOLOGIES)}),
                    [](const std::string& text) {
                        const bool isKnown =
                            std::find(std::begin(TECHNOLOGIES), std::end(TECHNOLOGIES), text) != std::end(TECHNOLOGIES);
                        return isKnown ? "" : "is none of its values";
                    });
}

void AddTelephonyRows(Rows& rows)
{
    for (size_t slot = 0; slot < static_cast<size_t>(Telephony::SIM_SLOT_COUNT); ++slot) {
        const std::string number = std::to_string(slot);
        rows.emplace_back(
            "sims." + number + ".state",
            NamedKind(SIM_STATE_NAMES), [slot](DeviceState & state) -> auto& { return state.sims[slot]; },
            Means("the SIM in slot " + number + "; only a ready or loaded one can share data"));
    }
    for (size_t slot = 0; slot < static_cast<size_t>(Telephony::SIM_SLOT_COUNT); ++slot) {
        const std::string number = std::to_string(slot);
        rows.emplace_back(
            "radio." + number,
            NamedKind(SWITCH_NAMES), [slot](DeviceState & state) -> auto& { return state.radio[slot]; },
            Means("the modem of slot " + number));
    }
}

void AddWifiRows(Rows& rows)
{
    using D = DeviceState;
    const auto wait = WholeNumberKind<Milliseconds>(0, MAX_WAIT_MS);
    const Rows wifi = {
        {"wifi.enabled", FlagKind(), &D::wifiEnabled, Means("Wi-Fi is switched on")},
        {"wifi.station_present", FlagKind(), &D::stationPresent, Means("the device can join networks")},
        {"wifi.hotspot_present", FlagKind(), &D::hotspotPresent, Means("the device can be a hotspot")},
        {"wifi.join_ms", wait, &D::joinTime, Means("how long joining a visible hotspot takes")},
        {"wifi.received_bytes", ByteCountKind(), &D::receivedBytes,
         Means("what this device has received over the hotspot that it joined")},
        {"wifi.sent_bytes", ByteCountKind(), &D::sentBytes,
         Means("what this device has sent over the hotspot that it joined")},
        {"wifi.online_check", NamedKind(ONLINE_CHECK_NAMES), &D::onlineCheck,
         Means("the check whether a joined hotspot has internet; air: finds out what its record in the air says; "
               "unknown: finds out nothing")},
        {"hotspot.ssid", SsidKind(0), &D::hotspotSsid,
         Means("the hotspot's name; empty: the device's name and the start of its network id")},
        {"hotspot.key", Secret(OptionalKeyKind()), &D::hotspotKey,
         Means("the hotspot's own key, never shown; empty: a new one at every start")},
        {"hotspot.security", NamedKind(SECURITY_NAMES), &D::hotspotSecurity, Means("how the hotspot is secured")},
        {"hotspot.start_ms", wait, &D::hotspotStartTime,
         Means("how long after it was enabled the hotspot appears in the air")},
        {"hotspot.active_at_start", FlagKind(), &D::hotspotActiveAtStart,
         Means("the hotspot is on when the device starts")},
    };
    rows.insert(rows.end(), wifi.begin(), wifi.end());
}

void AddNetworkRows(Rows& rows)
{
    using D = DeviceState;
    const Rows network = {
        {"network.wifi", TextKind("empty, or a name"), &D::ownWifi,
         Means("the user's own Wi-Fi network, which this device is on while it has not joined a hotspot; empty: none")},
        {"network.wire", NamedKind(SWITCH_NAMES), &D::hasOwnWire, Means("a wire with internet is plugged in")},
        {"network.in_reach", InReachKind(), &D::inReach,
         Means("the user's saved networks that a scan finds; each change of the state is a finished scan")},
        {"network.session_active", NamedKind(SWITCH_NAMES), &D::sessionActive, Means("somebody uses this device")},
        {"network.left_by_hand", NamedKind(SWITCH_NAMES), &D::leftByHand,
         Means("becoming on: a person disconnects the hotspot that this device joined")},
        {"battery.percent", PercentKind(), &D::batteryPercent, Means("the charge of the battery")},
        {"battery.charging", NamedKind(SWITCH_NAMES), &D::batteryCharging, Means("the battery is being charged")},
        {"uplink.internet", NamedKind(UPLINK_INTERNET_NAMES), &D::uplinkInternet,
         Means("this device has internet to share; auto: by mobile data, network.wire or network.wifi")},
        {"uplink.technology", TechnologyKind(), &D::uplinkTechnology, Means("the kind of mobile network")},
        {"uplink.signal", PercentKind(), &D::uplinkSignal, Means("the signal strength of the uplink")},
        {"uplink.metered", NamedKind(SWITCH_NAMES), &D::uplinkMetered, Means("the uplink's bytes are counted")},
    };
    rows.insert(rows.end(), network.begin(), network.end());
}

void AddFaultRows(Rows& rows)
{
    using Code = std::numeric_limits<int32_t>;
    for (size_t call = 0; call < CALL_NAMES.size(); ++call) {
        const std::string name = std::string("faults.") + CALL_NAMES[call];
        const std::string ofCall = std::string(" of ") + CALL_NAMES[call];
        const bool isCallback = static_cast<PlatformCall>(call) == PlatformCall::TELEPHONY_RADIO_CALLBACK;
        rows.emplace_back(
            name + ".code", WholeNumberKind<int32_t>(Code::min(), Code::max()),
            [call](DeviceState & state) -> auto& { return state.faults[call].code; },
            OmittedByDefault("the result" + ofCall + "; 0: it works"));
        rows.emplace_back(
            name + ".delay_ms", WholeNumberKind<Milliseconds>(0, MAX_WAIT_MS),
            [call](DeviceState & state) -> auto& { return state.faults[call].delay; },
            OmittedByDefault("the duration" + ofCall));
        rows.emplace_back(
            name + ".no_answer",
            FlagKind(), [call](DeviceState & state) -> auto& { return state.faults[call].noAnswer; },
            OmittedByDefault(isCallback ? "the radio state never comes; the device's end answers with an error"
                                        : "silence" + ofCall + " for 10 s, then an error"));
    }
}

Rows AllRows()
{
    using D = DeviceState;
    Rows rows = {
        {"screen", NamedKind(SWITCH_NAMES), &D::screenOn, Means("the screen; a change is a common event")},
        {"battery_low", FlagKind(), &D::batteryLow, Means("becoming true is a common event")},
        {"cellular_data", FlagKind(), &D::cellularData, Means("mobile data is switched on")},
    };
    AddTelephonyRows(rows);
    AddWifiRows(rows);
    AddNetworkRows(rows);
    AddFaultRows(rows);
    return rows;
}

}  // namespace

const char* PlatformCallName(PlatformCall call)
{
    return CALL_NAMES[static_cast<size_t>(call)];
}

const JsonKeys<DeviceState>& DeviceStateKeys()
{
    static const JsonKeys<DeviceState> keys(AllRows());
    return keys;
}

JsonKind<uint64_t> ByteCountKind()
{
    return WholeNumberKind<uint64_t>(0, MAX_BYTE_COUNT);
}

JsonKind<std::string> SsidKind(size_t least)
{
    const auto parse = [least](const std::string& text, std::string& out) -> std::string {
        Result<std::string> ssid = UnescapeBytes(text);
        if (!ssid) {
            return "cannot be unescaped: " + ssid.error().message;
        }
        const size_t size = ssid.value().size();
        if (size < least || size > MAX_SSID_BYTES) {
            return "has " + std::to_string(size) + " bytes";
        }
        out = std::move(ssid.value());
        return "";
    };
    return ParsedTextKind<std::string>((least == 0 ? "empty, or 1 to " : "1 to ") + std::to_string(MAX_SSID_BYTES) +
                                           R"( bytes; \\ is a backslash, \xNN any byte)",
                                       parse, EscapeBytes);
}

}  // namespace Vexo::Simulated
