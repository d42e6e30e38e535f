#include "host/peers/peer_messages.h"

#include <string_view>
#include <utility>

#include "interfaces/online_answers_json.h"

namespace Vexo::Host {

namespace {

constexpr uint32_t VERSION = 1;
constexpr const char* FACTS = "facts";
constexpr const char* LEASE = "lease";
constexpr const char* RELEASE = "release";
constexpr const char* UNKNOWN = "unknown";

// Visits all members of DeviceFacts except those that the receiver fills in.
template <typename Visit>
class SentMembers {
public:
    explicit SentMembers(Visit& visit) : visit_(visit) {}

    template <typename Value>
    void operator()(std::string_view key, Value& value)
    {
        if (key != "network_id" && key != "at") {
            visit_(key.data(), value);
        }
    }

private:
    Visit& visit_;
};

// ---- Writing messages

AnswerWriter Begin(uint32_t number, const char* kind, const std::string& name)
{
    AnswerWriter writer;
    writer("version", VERSION);
    writer("request", number);
    writer(kind, name);
    return writer;
}

std::string TextOf(const AnswerWriter& writer)
{
    return JsonText(writer.object.get());
}

std::string EncodeRequest(uint32_t number, const FactsRequest& /*request*/)
{
    return TextOf(Begin(number, "ask", FACTS));
}

std::string EncodeRequest(uint32_t number, const LeaseRequest& request)
{
    AnswerWriter writer = Begin(number, "ask", LEASE);
    writer("mac", request.macAddress);
    return TextOf(writer);
}

std::string EncodeRequest(uint32_t number, const ReleaseRequest& request)
{
    AnswerWriter writer = Begin(number, "ask", RELEASE);
    if (!request.macAddress.empty()) {
        writer("mac", request.macAddress);
    }
    return TextOf(writer);
}

std::string EncodeAnswer(uint32_t number, const UnknownAnswer& /*answer*/)
{
    return TextOf(Begin(number, "answer", UNKNOWN));
}

std::string EncodeAnswer(uint32_t number, const DeviceFacts& facts)
{
    AnswerWriter writer = Begin(number, "answer", FACTS);
    SentMembers<AnswerWriter> members(writer);
    ForEachMember(members, facts);
    return TextOf(writer);
}

std::string EncodeAnswer(uint32_t number, const LeaseAnswer& answer)
{
    AnswerWriter writer = Begin(number, "answer", LEASE);
    writer("held", answer.isHeld);
    return TextOf(writer);
}

std::string EncodeAnswer(uint32_t number, const ReleaseAnswer& answer)
{
    AnswerWriter writer = Begin(number, "answer", RELEASE);
    writer("closed", answer.hasClosedHotspot);
    return TextOf(writer);
}

// ---- Reading messages

Failure Wrong(const std::string& member)
{
    return Fail(ErrorCode::MALFORMED, member + " is missing, or is not such a value");
}

// Returns true if the text is six pairs of lower-case hex digits, separated by colons.
bool IsMacAddress(std::string_view text)
{
    constexpr size_t SIZE = 17;
    for (size_t i = 0; i < text.size(); ++i) {
        const bool isColon = i % 3 == 2;
        if (isColon ? text[i] != ':' : std::string_view("0123456789abcdef").find(text[i]) == std::string_view::npos) {
            return false;
        }
    }
    return text.size() == SIZE;
}

bool IsPercent(const std::optional<uint8_t>& percent)
{
    return percent.value_or(0) <= 100;
}

Result<PeerMessage> ReadRequest(uint32_t number, const std::string& name, const cJSON* object)
{
    if (name == FACTS) {
        return NumberedRequest{number, FactsRequest{}};
    }
    if (name != LEASE && name != RELEASE) {
        return UnknownRequest{number};
    }
    std::string mac;
    const bool mayLackMac = name == RELEASE && cJSON_GetObjectItemCaseSensitive(object, "mac") == nullptr;
    AnswerReader reader(object);
    if (!mayLackMac) {
        reader("mac", mac);
    }
    if (!mayLackMac && (!reader.Fault().empty() || !IsMacAddress(mac))) {
        return Wrong("mac");
    }
    return name == LEASE ? NumberedRequest{number, LeaseRequest{mac}} : NumberedRequest{number, ReleaseRequest{mac}};
}

Result<PeerMessage> ReadFacts(uint32_t number, const cJSON* object)
{
    DeviceFacts facts;
    AnswerReader reader(object);
    SentMembers<AnswerReader> members(reader);
    ForEachMember(members, facts);
    if (!reader.Fault().empty()) {
        return Wrong(reader.Fault());
    }
    if (facts.technology.size() > MAX_TECHNOLOGY || !IsPrintableAscii(facts.technology)) {
        return Wrong("technology");
    }
    if (!IsPercent(facts.signalPercent)) {
        return Wrong("signal_percent");
    }
    if (!IsPercent(facts.batteryPercent)) {
        return Wrong("battery_percent");
    }
    return NumberedAnswer{number, std::move(facts)};
}

Result<PeerMessage> ReadAnswer(uint32_t number, const std::string& name, const cJSON* object)
{
    AnswerReader reader(object);
    PeerAnswer answer;
    if (name == FACTS) {
        return ReadFacts(number, object);
    }
    if (name == LEASE) {
        reader("held", answer.emplace<LeaseAnswer>().isHeld);
    } else if (name == RELEASE) {
        reader("closed", answer.emplace<ReleaseAnswer>().hasClosedHotspot);
    } else if (name != UNKNOWN) {
        return Wrong("answer");
    }
    if (!reader.Fault().empty()) {
        return Wrong(reader.Fault());
    }
    return NumberedAnswer{number, std::move(answer)};
}

}  // namespace

std::string Encode(const NumberedRequest& request)
{
    return std::visit([&](const auto& kind) { return EncodeRequest(request.number, kind); }, request.request);
}

std::string Encode(const NumberedAnswer& answer)
{
    return std::visit([&](const auto& kind) { return EncodeAnswer(answer.number, kind); }, answer.answer);
}

Result<PeerMessage> DecodePeerMessage(const std::string& text)
{
    if (text.size() > MAX_PEER_MESSAGE) {
        return Fail(ErrorCode::MALFORMED, "it is longer than " + std::to_string(MAX_PEER_MESSAGE) + " bytes");
    }
    const Result<Json> json = ParseWholeJson(text);
    if (!json) {
        return Fail(ErrorCode::MALFORMED, json.error().message);
    }
    const cJSON* const object = json.value().get();
    if (cJSON_IsObject(object) == 0) {
        return Fail(ErrorCode::MALFORMED, "it is no JSON object");
    }
    uint32_t version = 0;
    uint32_t number = 0;
    std::string name;
    const bool isRequest = cJSON_GetObjectItemCaseSensitive(object, "ask") != nullptr;
    AnswerReader reader(object);
    reader("version", version);
    reader("request", number);
    reader(isRequest ? "ask" : "answer", name);
    if (!reader.Fault().empty() || version < VERSION) {
        return Wrong(reader.Fault().empty() ? "version" : reader.Fault());
    }
    return isRequest ? ReadRequest(number, name, object) : ReadAnswer(number, name, object);
}

}  // namespace Vexo::Host
