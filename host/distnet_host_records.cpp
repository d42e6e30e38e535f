// The part of DistNetHost that reads the daemon's records: events and traces.
#include <algorithm>
#include <chrono>

#include "host/distnet_host.h"
#include "interfaces/host_answers_json.h"
#include "platform/dfx/log.h"

namespace Vexo::Host {
namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "Host"};

// How many bytes of a record one answer contains. An answer has at most 160 KiB. In the answer, a record may take twice
// its size, because it is JSON text inside a JSON string.
constexpr size_t MAX_PIECE_BYTES = 64 * 1024;

// Parses lines of the event file. Skips lines that are not valid events, because a person may have edited the file.
std::vector<Event> EventsOf(std::string_view lines)
{
    std::vector<Event> events;
    while (!lines.empty()) {
        const size_t end = std::min(lines.find('\n'), lines.size() - 1);
        Event event;
        std::string at;
        if (FromJson(ParseJson(lines.substr(0, end)).get(), event, at)) {
            events.push_back(std::move(event));
        }
        lines.remove_prefix(end + 1);
    }
    return events;
}

}  // namespace

void DistNetHost::GetEvents(uint64_t cursor, std::chrono::milliseconds limit, Answer<EventPage> answer)
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
        answer(HOST_OK, {page.value().next, page.value().missed, EventsOf(page.value().lines)});
        return true;
    };
    eventWaits_->Add({answerNow, [events = facts_.events,
                                  cursor](std::chrono::milliseconds left) { (void)events->Read(cursor, 1, left); }},
                     limit);
}

int32_t DistNetHost::StartTrace(std::chrono::milliseconds limit, bool detached, TraceRecording& started)
{
    if (!facts_.traces || limit.count() == 0 || limit > QuviewDFX::RECORDING_LIMIT) {
        return HOST_BAD_REQUEST;
    }
    started.recording = facts_.traces->Start(limit, detached);
    return started.recording == 0 ? HOST_BUSY : HOST_OK;
}

int32_t DistNetHost::StopTrace(uint32_t recording, uint64_t offset, TracePiece& piece)
{
    if (!facts_.traces) {
        return HOST_BAD_REQUEST;
    }
    auto stopped = facts_.traces->Stop(recording, offset, MAX_PIECE_BYTES);
    if (!stopped) {
        return HOST_NO_RECORDING;
    }
    piece = {stopped->recording, stopped->spans, stopped->dropped,
             stopped->duration,  stopped->bytes, std::move(stopped->text)};
    return HOST_OK;
}

}  // namespace Vexo::Host
