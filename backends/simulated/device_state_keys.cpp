#include "backends/simulated/device_state_keys.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>
#include <type_traits>
#include <utility>

#include "backends/simulated/ssid_text.h"
#include "platform/base/text.h"

namespace Vexo::Simulated {
namespace {

constexpr int64_t MAX_WAIT_MS = 60000;
constexpr int64_t MAX_SSID_BYTES = 32;
constexpr int64_t MIN_KEY_BYTES = 8;
constexpr int64_t MAX_KEY_BYTES = 63;

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
constexpr std::array<const char*, 3> SECURITY_NAMES{"open", "wpa2", "wpa3"};

template <typename T>
int32_t ToNumber(const T& member)
{
    if constexpr (std::is_same_v<T, std::chrono::milliseconds>) {
        return static_cast<int32_t>(member.count());
    } else {
        return static_cast<int32_t>(member);
    }
}

template <typename Member>
StateKey Key(std::string name, StateKey::Kind kind, Member member, std::string help)
{
    StateKey key;
    key.name = std::move(name);
    key.help = std::move(help);
    key.kind = kind;
    using T = std::remove_reference_t<decltype(member(std::declval<DeviceState&>()))>;
    if constexpr (std::is_same_v<T, std::string>) {
        key.text = member;
    } else {
        // Every accessor yields a reference into the state it is given and changes nothing.
        key.number = [member](const DeviceState& state) { return ToNumber(member(const_cast<DeviceState&>(state))); };
        key.setNumber = [member](DeviceState& state, int32_t value) { member(state) = static_cast<T>(value); };
    }
    return key;
}

StateKey Choice(StateKey key, std::vector<std::string> choices)
{
    key.choices = std::move(choices);
    return key;
}

StateKey Range(StateKey key, int64_t min, int64_t max)
{
    key.min = min;
    key.max = max;
    return key;
}

// An accessor of one member, for Key().
#define MEMBER(EXPRESSION) ([=](DeviceState & state) -> auto& { return state.EXPRESSION; })

void AddTelephonyKeys(std::vector<StateKey>& keys)
{
    using Kind = StateKey::Kind;
    for (size_t slot = 0; slot < static_cast<size_t>(Telephony::SIM_SLOT_COUNT); ++slot) {
        const std::string number = std::to_string(slot);
        keys.push_back(Choice(Key("sims." + number + ".state", Kind::CHOICE, MEMBER(sims[slot]),
                                  "the SIM in slot " + number + "; only a ready or loaded one can share data"),
                              {"unknown", "not_present", "locked", "not_ready", "ready", "loaded"}));
    }
    for (size_t slot = 0; slot < static_cast<size_t>(Telephony::SIM_SLOT_COUNT); ++slot) {
        const std::string number = std::to_string(slot);
        keys.push_back(Choice(Key("radio." + number, Kind::CHOICE, MEMBER(radio[slot]), "the modem of slot " + number),
                              {"off", "on"}));
    }
}

void AddWifiKeys(std::vector<StateKey>& keys)
{
    using Kind = StateKey::Kind;
    keys.push_back(Key("wifi.enabled", Kind::BOOLEAN, MEMBER(wifiEnabled), "Wi-Fi is switched on"));
    keys.push_back(Key("wifi.station_present", Kind::BOOLEAN, MEMBER(stationPresent), "the device can join networks"));
    keys.push_back(Key("wifi.hotspot_present", Kind::BOOLEAN, MEMBER(hotspotPresent), "the device can be a hotspot"));
    keys.push_back(
        Range(Key("wifi.join_ms", Kind::NUMBER, MEMBER(joinTime), "how long joining a visible hotspot takes"), 0,
              MAX_WAIT_MS));
    StateKey ssid = Range(Key("hotspot.ssid", Kind::TEXT, MEMBER(hotspotSsid),
                              "the hotspot's name; empty: the device's name and the start of its network id"),
                          1, MAX_SSID_BYTES);
    ssid.isSsid = true;
    keys.push_back(std::move(ssid));
    StateKey secret = Range(Key("hotspot.key", Kind::TEXT, MEMBER(hotspotKey),
                                "the hotspot's own key, never shown; empty: a new one at every start"),
                            MIN_KEY_BYTES, MAX_KEY_BYTES);
    secret.secret = true;
    keys.push_back(std::move(secret));
    keys.push_back(Choice(Key("hotspot.security", Kind::CHOICE, MEMBER(hotspotSecurity), "how the hotspot is secured"),
                          {SECURITY_NAMES.begin(), SECURITY_NAMES.end()}));
    keys.push_back(Range(Key("hotspot.start_ms", Kind::NUMBER, MEMBER(hotspotStartTime),
                             "how long after it was enabled the hotspot appears in the air"),
                         0, MAX_WAIT_MS));
    keys.push_back(Key("hotspot.active_at_start", Kind::BOOLEAN, MEMBER(hotspotActiveAtStart),
                       "the hotspot is on when the device starts"));
}

void AddFaultKeys(std::vector<StateKey>& keys)
{
    using Kind = StateKey::Kind;
    for (size_t call = 0; call < CALL_NAMES.size(); ++call) {
        const std::string name = std::string("faults.") + CALL_NAMES[call];
        const std::string words = std::string(" of ") + CALL_NAMES[call];
        const size_t first = keys.size();
        keys.push_back(
            Range(Key(name + ".code", Kind::NUMBER, MEMBER(faults[call].code), "the result" + words + "; 0: it works"),
                  std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()));
        keys.push_back(Range(Key(name + ".delay_ms", Kind::NUMBER, MEMBER(faults[call].delay), "the duration" + words),
                             0, MAX_WAIT_MS));
        const bool isCallback = static_cast<PlatformCall>(call) == PlatformCall::TELEPHONY_RADIO_CALLBACK;
        keys.push_back(Key(name + ".no_answer", Kind::BOOLEAN, MEMBER(faults[call].noAnswer),
                           isCallback ? "the radio state never comes; the device's end answers with an error"
                                      : "silence" + words + " for 10 s, then an error"));
        for (size_t i = first; i < keys.size(); ++i) {
            keys[i].omittedByDefault = true;
        }
    }
}

std::vector<StateKey> MakeStateKeys()
{
    using Kind = StateKey::Kind;
    std::vector<StateKey> keys;
    keys.push_back(
        Choice(Key("screen", Kind::CHOICE, MEMBER(screenOn), "the screen; a change is a common event"), {"off", "on"}));
    keys.push_back(Key("battery_low", Kind::BOOLEAN, MEMBER(batteryLow), "becoming true is a common event"));
    keys.push_back(Key("cellular_data", Kind::BOOLEAN, MEMBER(cellularData), "mobile data is switched on"));
    AddTelephonyKeys(keys);
    AddWifiKeys(keys);
    AddFaultKeys(keys);
    return keys;
}

#undef MEMBER

std::string NumberText(double number)
{
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.15g", number);
    return text.data();
}

std::string JoinWords(const std::vector<std::string>& words)
{
    std::string text;
    for (size_t i = 0; i < words.size(); ++i) {
        text += i == 0 ? "" : i + 1 == words.size() ? " or " : ", ";
        text += words[i];
    }
    return text;
}

}  // namespace

const char* SecurityName(HotspotSecurity security)
{
    return SECURITY_NAMES[static_cast<size_t>(security)];
}

const char* PlatformCallName(PlatformCall call)
{
    return CALL_NAMES[static_cast<size_t>(call)];
}

std::string StateKey::Allowed() const
{
    switch (kind) {
        case Kind::BOOLEAN:
            return "true or false";
        case Kind::CHOICE:
            return JoinWords(choices);
        case Kind::NUMBER:
            return std::to_string(min) + " to " + std::to_string(max);
        case Kind::TEXT:
            break;
    }
    return "empty, or " + std::to_string(min) + " to " + std::to_string(max) + " bytes" +
           (isSsid ? R"(; \\ is a backslash, \xNN any byte)" : "");
}

std::string StateKey::Show(const DeviceState& state) const
{
    switch (kind) {
        case Kind::BOOLEAN:
            return number(state) != 0 ? "true" : "false";
        case Kind::CHOICE:
            return choices[static_cast<size_t>(number(state))];
        case Kind::NUMBER:
            return std::to_string(number(state));
        case Kind::TEXT:
            break;
    }
    const std::string& held = text(const_cast<DeviceState&>(state));
    return isSsid ? SsidToText(held) : held;
}

Result<void> StateKey::Assign(DeviceState& state, const StateValue& value) const
{
    const auto refuse = [this](const std::string& what) { return Error{name + ": " + what + " (" + Allowed() + ")"}; };
    const bool* const flag = std::get_if<bool>(&value);
    const double* const digits = std::get_if<double>(&value);
    const std::string* const words = std::get_if<std::string>(&value);
    if (kind == Kind::BOOLEAN && flag != nullptr) {
        setNumber(state, *flag ? 1 : 0);
        return {};
    }
    if (kind == Kind::NUMBER && digits != nullptr) {
        if (std::trunc(*digits) != *digits) {
            return refuse(NumberText(*digits) + " is not a whole number");
        }
        if (*digits < static_cast<double>(min) || *digits > static_cast<double>(max)) {
            return refuse(NumberText(*digits) + " is out of range");
        }
        setNumber(state, static_cast<int32_t>(*digits));
        return {};
    }
    if (kind == Kind::CHOICE && words != nullptr) {
        const auto it = std::find(choices.begin(), choices.end(), *words);
        if (it == choices.end()) {
            return refuse("\"" + *words + "\" is not allowed");
        }
        setNumber(state, static_cast<int32_t>(it - choices.begin()));
        return {};
    }
    if (kind == Kind::TEXT && words != nullptr) {
        Result<std::string> meant = isSsid ? SsidFromText(*words) : Result<std::string>(*words);
        if (!meant) {
            return refuse(meant.Message());
        }
        const auto length = static_cast<int64_t>(meant.Value().size());
        if (length != 0 && (length < min || length > max)) {
            return refuse("is " + std::to_string(length) + " bytes long");
        }
        if (!isSsid && words->find('\0') != std::string::npos) {
            return refuse("holds a NUL byte");  // the file would end there
        }
        text(state) = std::move(meant.Value());
        return {};
    }
    const std::string found = flag != nullptr     ? (*flag ? "true" : "false")
                              : digits != nullptr ? "a number"
                              : words != nullptr  ? "the text \"" + *words + "\""
                                                  : std::get<NotScalar>(value).what;
    return refuse(found + " is not allowed");
}

StateValue StateKey::FromText(std::string_view typed) const
{
    if (kind == Kind::BOOLEAN && (typed == "true" || typed == "false")) {
        return typed == "true";
    }
    if (kind == Kind::NUMBER) {
        double value = 0;
        const auto [end, error] = std::from_chars(typed.data(), typed.data() + typed.size(), value);
        if (error == std::errc() && end == typed.data() + typed.size() && !typed.empty()) {
            return value;
        }
    }
    return std::string(typed);
}

const std::vector<StateKey>& StateKeys()
{
    static const std::vector<StateKey> keys = MakeStateKeys();
    return keys;
}

const StateKey* FindStateKey(std::string_view name)
{
    const std::vector<StateKey>& keys = StateKeys();
    const auto it = std::find_if(keys.begin(), keys.end(), [&](const StateKey& key) { return key.name == name; });
    return it == keys.end() ? nullptr : &*it;
}

bool IsStateGroup(std::string_view name)
{
    const std::string prefix = std::string(name) + ".";
    const std::vector<StateKey>& keys = StateKeys();
    return std::any_of(keys.begin(), keys.end(), [&](const StateKey& key) { return key.name.starts_with(prefix); });
}

bool IsStateList(std::string_view name)
{
    const std::string first = std::string(name) + ".0";
    return FindStateKey(first) != nullptr || IsStateGroup(first);
}

Error UnknownStateKey(std::string_view name)
{
    std::vector<std::string> names;
    for (const StateKey& key : StateKeys()) {
        names.push_back(key.name);
    }
    const std::string closest = ClosestOf(name, names);
    return Error{std::string(name) + ": unknown key" + (closest.empty() ? "" : " (did you mean \"" + closest + "\"?)")};
}

}  // namespace Vexo::Simulated
