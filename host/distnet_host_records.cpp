// DistNetHost: the daemon's records: its events and its traces.
#include <algorithm>
#include <chrono>

#include "host/distnet_host.h"
#include "platform/base/json.h"
#include "platform/dfx/log.h"

namespace Vexo::Host {
namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "Host"};

// Of one answer: as JSON in JSON every character may take two bytes, and an answer has at most 160 KiB.
constexpr size_t MAX_PIECE_BYTES = 64 * 1024;

// The objects of JSON lines; what an editor has damaged is left out.
Json ObjectsOf(std::string_view lines)
{
    Json objects(cJSON_CreateArray());
    while (!lines.empty()) {
        const size_t end = std::min(lines.find('\n'), lines.size() - 1);
        Json object = ParseJson(lines.substr(0, end));
        if (cJSON_IsObject(object.get())) {
            cJSON_AddItemToArray(objects.get(), object.release());
        }
        lines.remove_prefix(end + 1);
    }
    return objects;
}

std::string EventsJson(const QuviewDFX::EventPage& page)
{
    const Json answer = NewObject();
    AddNumber(answer.get(), "cursor", page.next);
    cJSON_AddBoolToObject(answer.get(), "missed", page.missed);
    AddMember(answer.get(), "events", ObjectsOf(page.lines));
    return JsonText(answer.get());
}

}  // namespace

void DistNetHost::GetEvents(uint64_t cursor, std::chrono::milliseconds limit, Answer answer)
{
    if (!facts_.events) {
        answer(HOST_BAD_REQUEST, {});
        return;
    }
    const auto answerNow = [events = facts_.events, cursor, answer = std::move(answer)](bool mustAnswer) {
        const auto page = events->Read(cursor, MAX_PIECE_BYTES, std::chrono::milliseconds(0));
        if (!page) {
            QuviewDFX::LogWarn(LABEL, "events: %{public}s", page.error().message);
            answer(HOST_BAD_REQUEST, {});
            return true;
        }
        if (!mustAnswer && page.value().lines.empty() && page.value().next == cursor) {
            return false;
        }
        answer(HOST_OK, EventsJson(page.value()));
        return true;
    };
    eventWaits_->Add({answerNow, [events = facts_.events,
                                  cursor](std::chrono::milliseconds left) { (void)events->Read(cursor, 1, left); }},
                     limit);
}

int32_t DistNetHost::StartTrace(uint32_t limitMs, bool detached, std::string& json)
{
    if (!facts_.traces || limitMs == 0 || std::chrono::milliseconds(limitMs) > QuviewDFX::RECORDING_LIMIT) {
        return HOST_BAD_REQUEST;
    }
    const uint32_t recording = facts_.traces->Start(std::chrono::milliseconds(limitMs), detached);
    if (recording == 0) {
        return HOST_BUSY;
    }
    const Json answer = NewObject();
    AddNumber(answer.get(), "recording", recording);
    json = JsonText(answer.get());
    return HOST_OK;
}

int32_t DistNetHost::StopTrace(uint32_t recording, uint64_t offset, std::string& json)
{
    if (!facts_.traces) {
        return HOST_BAD_REQUEST;
    }
    const auto piece = facts_.traces->Stop(recording, offset, MAX_PIECE_BYTES);
    if (!piece) {
        return HOST_NO_RECORDING;
    }
    const Json answer = NewObject();
    AddNumber(answer.get(), "recording", piece->recording);
    AddNumber(answer.get(), "spans", piece->spans);
    AddNumber(answer.get(), "dropped", piece->dropped);
    AddNumber(answer.get(), "duration_ms", static_cast<uint64_t>(piece->duration.count()));
    AddNumber(answer.get(), "bytes", piece->bytes);
    AddText(answer.get(), "text", piece->text);
    json = JsonText(answer.get());
    return HOST_OK;
}

}  // namespace Vexo::Host
