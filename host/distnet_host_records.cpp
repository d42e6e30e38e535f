// DistNetHost: the daemon's records: its events and its traces.
#include <cjson/cJSON.h>

#include <algorithm>
#include <chrono>
#include <memory>

#include "host/distnet_host.h"
#include "platform/dfx/log.h"

namespace Vexo::Host {
namespace {

using JsonPtr = std::unique_ptr<cJSON, decltype(&cJSON_Delete)>;

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "Host"};

// Of one answer: as JSON in JSON every character may take two bytes, and an answer has at most 160 KiB.
constexpr size_t MAX_PIECE_BYTES = 64 * 1024;

void AddNumber(const JsonPtr& object, const char* name, uint64_t number)
{
    cJSON_AddNumberToObject(object.get(), name, static_cast<double>(number));
}

int32_t Print(const JsonPtr& object, std::string& json)
{
    const std::unique_ptr<char, decltype(&cJSON_free)> text(cJSON_PrintUnformatted(object.get()), &cJSON_free);
    json = text ? text.get() : "{}";
    return HOST_OK;
}

// The objects of JSON lines; what an editor has damaged is left out.
JsonPtr ObjectsOf(std::string_view lines)
{
    JsonPtr objects(cJSON_CreateArray(), &cJSON_Delete);
    while (!lines.empty()) {
        const size_t end = std::min(lines.find('\n'), lines.size() - 1);
        JsonPtr object(cJSON_ParseWithLength(lines.data(), end), &cJSON_Delete);
        if (cJSON_IsObject(object.get())) {
            cJSON_AddItemToArray(objects.get(), object.release());
        }
        lines.remove_prefix(end + 1);
    }
    return objects;
}

}  // namespace

int32_t DistNetHost::GetEvents(uint64_t cursor, uint32_t limitMs, std::string& json)
{
    if (!facts_.events) {
        return HOST_BAD_REQUEST;
    }
    const auto page = facts_.events->Read(cursor, MAX_PIECE_BYTES, std::chrono::milliseconds(limitMs));
    if (!page) {
        QuviewDFX::LogWarn(LABEL, "events: %{public}s", page.Message());
        return HOST_BAD_REQUEST;
    }
    const JsonPtr answer(cJSON_CreateObject(), &cJSON_Delete);
    AddNumber(answer, "cursor", page.Value().next);
    cJSON_AddBoolToObject(answer.get(), "missed", page.Value().missed);
    cJSON_AddItemToObject(answer.get(), "events", ObjectsOf(page.Value().lines).release());
    return Print(answer, json);
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
    const JsonPtr answer(cJSON_CreateObject(), &cJSON_Delete);
    AddNumber(answer, "recording", recording);
    return Print(answer, json);
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
    const JsonPtr answer(cJSON_CreateObject(), &cJSON_Delete);
    AddNumber(answer, "recording", piece->recording);
    AddNumber(answer, "spans", piece->spans);
    AddNumber(answer, "dropped", piece->dropped);
    AddNumber(answer, "duration_ms", static_cast<uint64_t>(piece->duration.count()));
    AddNumber(answer, "bytes", piece->bytes);
    cJSON_AddStringToObject(answer.get(), "text", piece->text.c_str());
    return Print(answer, json);
}

}  // namespace Vexo::Host
