// Encodes and decodes the daemon's answers as JSON objects (docs/ipc.md). ForEachMember lists the members of each type.
// AnswerText writes the listed members, and ParseAnswer reads them. Any thread may call the functions, which do not
// block.
#pragma once

#include <cmath>
#include <concepts>
#include <limits>
#include <string>
#include <type_traits>
#include <utility>

#include "interfaces/host_answers.h"
#include "interfaces/named_values.h"
#include "platform/base/json.h"
#include "platform/base/result.h"
#include "platform/dfx/event_text.h"

namespace Vexo::Host {

template <typename Value, typename Type>
concept MaybeConst = std::same_as<std::remove_const_t<Value>, Type>;

// ---- The members of each type, in the order in which they are written. ForEachMember calls visit(key, member) for
// ---- each member. visit.Derived(key, value) is for a value that is computed from other members. Such a value is
// ---- written but not read.

template <typename Visit>
void ForEachMember(Visit& visit, MaybeConst<WifiStatus> auto& wifi)
{
    visit("present", wifi.present);
    visit("radio", wifi.radio);
    visit("state", wifi.state);
    visit.Derived("state_code", static_cast<int32_t>(wifi.state));
    visit("attempt", wifi.attempt);
    visit("ssid", wifi.ssid);
    visit("address", wifi.address);
    visit("reason", wifi.reason);
    visit("failure", wifi.failure);
}

template <typename Visit>
void ForEachMember(Visit& visit, MaybeConst<HotspotStatus> auto& hotspot)
{
    visit("present", hotspot.present);
    visit("active", hotspot.active);
}

template <typename Visit>
void ForEachMember(Visit& visit, MaybeConst<AbilityStatus> auto& ability)
{
    visit("id", ability.id);
    visit("name", ability.name);
    visit("backend", ability.backend);
}

template <typename Visit>
void ForEachMember(Visit& visit, MaybeConst<ThisDevice> auto& device)
{
    visit("name", device.name);
    visit("type", device.type);
    visit("network_id", device.networkId);
}

template <typename Visit>
void ForEachMember(Visit& visit, MaybeConst<LinkStatus> auto& link)
{
    visit("listen", link.listen);
}

template <typename Visit>
void ForEachMember(Visit& visit, MaybeConst<MembershipStatus> auto& membership)
{
    visit("removed_at", membership.removedAt);
    visit("holder", membership.holder);
    visit("holds_key", membership.holdsKey);
    visit("members", membership.members);
    visit("pending", membership.pending);
    visit("backup", membership.backup);
    visit("ends_soon", membership.endsSoon);
}

template <typename Visit>
void ForEachMember(Visit& visit, MaybeConst<HostStatus> auto& status)
{
    visit("version", status.version);
    visit("pid", status.pid);
    visit("device", status.device);
    visit("account", status.account);
    visit("membership", status.membership);
    visit("platform", status.platform);
    visit("abilities", status.abilities);
    visit("service", status.service);
    visit("link", status.link);
    visit("wifi", status.wifi);
    visit("hotspot", status.hotspot);
    visit("uptime_ms", status.uptime);
}

template <typename Visit>
void ForEachMember(Visit& visit, MaybeConst<HostCounts> auto& counts)
{
    visit("sessions", counts.sessions);
    visit("pending_opens", counts.pendingOpens);
    visit("session_servers", counts.sessionServers);
    visit("collaborations", counts.collaborations);
    visit("ipc_connections", counts.ipcConnections);
    visit("ipc_threads", counts.ipcThreads);
    visit("threads", counts.threads);
    visit("descriptors", counts.descriptors);
    visit("queued_tasks", counts.queuedTasks);
    visit.Derived("pending", counts.Pending());
}

template <typename Visit>
void ForEachMember(Visit& visit, MaybeConst<KnownDevice> auto& device)
{
    visit("name", device.name);
    visit("type", device.type);
    visit("network_id", device.networkId);
    visit("device_id", device.deviceId);
    visit("online", device.online);
    visit("last_seen", device.lastSeen);
    visit("transport", device.transport);
    visit("address", device.address);
    visit("clock_ahead_ms", device.clockAhead);
}

template <typename Visit>
void ForEachMember(Visit& visit, MaybeConst<DeviceList> auto& list)
{
    visit("devices", list.devices);
}

template <typename Visit>
void ForEachMember(Visit& visit, MaybeConst<QuviewDFX::HealthCheck> auto& check)
{
    visit("name", check.name);
    visit("ok", check.good);
    visit("message", check.message);
    visit("advice", check.advice);
}

template <typename Visit>
void ForEachMember(Visit& visit, MaybeConst<CheckList> auto& list)
{
    visit("checks", list.checks);
}

template <typename Visit>
void ForEachMember(Visit& visit, MaybeConst<Event> auto& event)
{
    visit("time", event.time);
    visit("domain", event.domain);
    visit("name", event.name);
    visit("type", event.type);
    visit("params", event.parameters);
}

template <typename Visit>
void ForEachMember(Visit& visit, MaybeConst<EventPage> auto& page)
{
    visit("cursor", page.cursor);
    visit("missed", page.missed);
    visit("events", page.events);
}

template <typename Visit>
void ForEachMember(Visit& visit, MaybeConst<TraceRecording> auto& started)
{
    visit("recording", started.recording);
}

template <typename Visit>
void ForEachMember(Visit& visit, MaybeConst<TracePiece> auto& piece)
{
    visit("recording", piece.recording);
    visit("spans", piece.spans);
    visit("dropped", piece.dropped);
    visit("duration_ms", piece.duration);
    visit("bytes", piece.bytes);
    visit("text", piece.text);
}

// ---- The kinds of members -------------------------------------------------------------------------------------------

template <typename Value>
concept Named = requires(Value value)
{
    NamesOf(value);
};
template <typename Value>
concept Number = std::is_enum_v<Value> ||(std::integral<Value> && !std::same_as<Value, bool>);
template <typename Value>
concept Optional = requires(Value value)
{
    value.has_value();
    value.emplace();
};
template <typename Value>
concept List = requires(Value value)
{
    value.emplace_back();
}
&&!std::same_as<Value, std::string>;

// ---- Writing --------------------------------------------------------------------------------------------------------

template <typename Value>
Json ToJson(const Value& value);

class AnswerWriter {
public:
    template <typename Value>
    void operator()(const char* key, const Value& value)
    {
        AddMember(object.get(), key, ToJson(value));
    }
    template <typename Value>
    void Derived(const char* key, const Value& value)
    {
        (*this)(key, value);
    }

    Json object = NewObject();
};

template <typename Value>
Json ToJson(const Value& value)
{
    if constexpr (std::same_as<Value, bool>) {
        return Json(cJSON_CreateBool(value ? 1 : 0));
    } else if constexpr (std::same_as<Value, std::string>) {
        return Json(cJSON_CreateString(EscapeInvalid(value).c_str()));
    } else if constexpr (Named<Value>) {
        return Json(cJSON_CreateString(NameOf(value)));
    } else if constexpr (Number<Value>) {
        return Json(cJSON_CreateNumber(static_cast<double>(value)));
    } else if constexpr (std::same_as<Value, std::chrono::milliseconds>) {
        return Json(cJSON_CreateNumber(static_cast<double>(value.count())));
    } else if constexpr (std::same_as<Value, std::chrono::sys_seconds>) {
        return ToJson(QuviewDFX::Rfc3339Seconds(value.time_since_epoch().count()));
    } else if constexpr (std::same_as<Value, decltype(Event::time)>) {
        return ToJson(QuviewDFX::Rfc3339(value));
    } else if constexpr (Optional<Value>) {
        return value ? ToJson(*value) : Json(cJSON_CreateNull());
    } else if constexpr (std::same_as<Value, std::vector<EventParameter>>) {
        Json object = NewObject();
        for (const EventParameter& parameter : value) {
            AddMember(object.get(), parameter.key.c_str(),
                      std::visit([](const auto& held) { return ToJson(held); }, parameter.value));
        }
        return object;
    } else if constexpr (List<Value>) {
        Json array(cJSON_CreateArray());
        for (const auto& item : value) {
            cJSON_AddItemToArray(array.get(), ToJson(item).release());
        }
        return array;
    } else {
        AnswerWriter writer;
        ForEachMember(writer, value);
        return std::move(writer.object);
    }
}

// ---- Reading --------------------------------------------------------------------------------------------------------

// Reads value from json. Returns false if json does not match the type Value. at: on failure, receives the path of the
// wrong member, such as "abilities[2].name"; empty if json itself is wrong.
template <typename Value>
bool FromJson(const cJSON* json, Value& value, std::string& at);

class AnswerReader {
public:
    explicit AnswerReader(const cJSON* object) : object_(object) {}

    template <typename Value>
    void operator()(const char* key, Value& value)
    {
        std::string within;
        if (fault_.empty() && !FromJson(cJSON_GetObjectItemCaseSensitive(object_, key), value, within)) {
            fault_ = key + (within.empty() || within.starts_with('[') ? within : "." + within);
        }
    }
    template <typename Value>
    void Derived(const char*, const Value&)
    {
    }

    const std::string& Fault() const { return fault_; }

private:
    const cJSON* const object_;
    std::string fault_;  // path of the first member that is missing or of the wrong type
};

// Reads a number in the range of Value. Rejects numbers beyond 2^53, because a double cannot hold them exactly.
template <typename Value>
bool NumberFromJson(const cJSON* json, Value& value)
{
    using Limits = std::numeric_limits<Value>;
    constexpr double EXACT = 9'007'199'254'740'992.0;
    if (cJSON_IsNumber(json) == 0) {
        return false;
    }
    const double number = json->valuedouble;
    if (!(std::trunc(number) == number && std::abs(number) <= EXACT && number >= static_cast<double>(Limits::min()) &&
          number <= static_cast<double>(Limits::max()))) {
        return false;
    }
    value = static_cast<Value>(number);
    return true;
}

// Rejects times before 1970, which the daemon never writes.
inline bool TimeFromJson(const cJSON* json, decltype(Event::time)& value)
{
    const auto time = cJSON_IsString(json) != 0 ? QuviewDFX::ParseRfc3339(json->valuestring) : std::nullopt;
    if (!time || time->time_since_epoch().count() < 0) {
        return false;
    }
    value = *time;
    return true;
}

inline bool ParametersFromJson(const cJSON* json, std::vector<EventParameter>& parameters, std::string& at)
{
    if (cJSON_IsObject(json) == 0) {
        return false;
    }
    const cJSON* member = nullptr;
    cJSON_ArrayForEach(member, json)
    {
        EventParameter parameter{member->string, member->valuestring != nullptr ? member->valuestring : ""};
        int32_t number = 0;
        if (NumberFromJson(member, number)) {
            parameter.value = number;
        } else if (cJSON_IsString(member) == 0) {
            at = parameter.key;
            return false;
        }
        parameters.push_back(std::move(parameter));
    }
    return true;
}

template <typename Value>
bool ListFromJson(const cJSON* json, std::vector<Value>& list, std::string& at)
{
    if (cJSON_IsArray(json) == 0) {
        return false;
    }
    const cJSON* item = nullptr;
    cJSON_ArrayForEach(item, json)
    {
        if (std::string within; !FromJson(item, list.emplace_back(), within)) {
            at = "[" + std::to_string(list.size() - 1) + "]" + (within.empty() ? "" : "." + within);
            return false;
        }
    }
    return true;
}

template <Named Value>
bool NamedFromJson(const cJSON* json, Value& value)
{
    for (const NamedValue<Value>& named : NamesOf(value)) {
        if (cJSON_IsString(json) != 0 && std::string_view(named.name) == json->valuestring) {
            value = named.value;
            return true;
        }
    }
    return false;
}

template <typename Value>
bool FromJson(const cJSON* json, Value& value, std::string& at)
{
    if constexpr (std::same_as<Value, bool>) {
        value = cJSON_IsTrue(json) != 0;
        return cJSON_IsBool(json) != 0;
    } else if constexpr (std::same_as<Value, std::string>) {
        value = cJSON_IsString(json) != 0 ? json->valuestring : "";
        return cJSON_IsString(json) != 0;
    } else if constexpr (Named<Value>) {
        return NamedFromJson(json, value);
    } else if constexpr (std::is_enum_v<Value>) {
        std::underlying_type_t<Value> number{};
        const bool read = NumberFromJson(json, number);
        value = static_cast<Value>(number);
        return read;
    } else if constexpr (Number<Value>) {
        return NumberFromJson(json, value);
    } else if constexpr (std::same_as<Value, std::chrono::milliseconds>) {
        int64_t count = 0;
        const bool read = NumberFromJson(json, count);
        value = std::chrono::milliseconds(count);
        return read;
    } else if constexpr (std::same_as<Value, std::chrono::sys_seconds>) {
        decltype(Event::time) time{};
        const bool read = TimeFromJson(json, time);
        value = std::chrono::time_point_cast<std::chrono::seconds>(time);
        return read;
    } else if constexpr (std::same_as<Value, decltype(Event::time)>) {
        return TimeFromJson(json, value);
    } else if constexpr (Optional<Value>) {
        return cJSON_IsNull(json) != 0 || FromJson(json, value.emplace(), at);
    } else if constexpr (std::same_as<Value, std::vector<EventParameter>>) {
        return ParametersFromJson(json, value, at);
    } else if constexpr (List<Value>) {
        return ListFromJson(json, value, at);
    } else {
        AnswerReader reader(json);
        ForEachMember(reader, value);
        at = reader.Fault();
        return cJSON_IsObject(json) != 0 && at.empty();
    }
}

// ---- Whole answers --------------------------------------------------------------------------------------------------

// Returns the answer as one JSON object, or an empty string if memory is short.
template <typename Answer>
std::string AnswerText(const Answer& answer)
{
    return JsonText(ToJson(answer).get());
}

// Parses an answer. The error names the first member that is missing or of the wrong type. Unknown members are ignored.
template <typename Answer>
[[nodiscard]] Result<Answer> ParseAnswer(const std::string& text)
{
    Answer answer;
    std::string at;
    if (const Json json = ParseJson(text); !json) {
        return Fail(ErrorCode::MALFORMED, "it is no JSON");
    } else if (!FromJson(json.get(), answer, at)) {
        return Fail(ErrorCode::MALFORMED,
                    at.empty() ? "it is no JSON object" : at + " is missing, or is not such a value");
    }
    return answer;
}

}  // namespace Vexo::Host
