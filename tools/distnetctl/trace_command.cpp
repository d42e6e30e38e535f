#include <unistd.h>

#include "host/i_distnet_host.h"
#include "platform/base/files.h"
#include "platform/dfx/trace_recorder.h"
#include "tools/distnetctl/commands.h"
#include "tools/distnetctl/json.h"
#include "tools/distnetctl/recording.h"

namespace Vexo::Ctl {
namespace {

constexpr mode_t TRACE_FILE_MODE = 0644;  // no ids and no secrets

// Whether the file can be made. Asked before a recording is stopped, because its last piece forgets it.
std::string WhyNotWritable(const std::filesystem::path& file)
{
    std::error_code ignored;
    if (std::filesystem::is_directory(file, ignored)) {
        return file.string() + ": is a folder";
    }
    const std::filesystem::path folder = file.has_parent_path() ? file.parent_path() : ".";
    return ::access(folder.c_str(), W_OK | X_OK) == 0 ? "" : folder.string() + ": no file can be written there";
}

}  // namespace

uint32_t StartRecording(Client::DistNetClient& client, std::chrono::milliseconds limit, bool detached, Outcome& failure)
{
    std::string json;
    const Client::CallResult call = client.StartTrace(limit, detached, json);
    if (call.Succeeded()) {
        return static_cast<uint32_t>(NumberOf(ParseJson(json).get(), "recording"));
    }
    failure = call.status == Client::CallStatus::ANSWERED && call.code == Host::HOST_BUSY
                  ? NotDone(std::to_string(QuviewDFX::MAX_RECORDINGS) + " recordings run already",
                            "`distnetctl trace stop FILE` ends the oldest; each ends by itself after 10 minutes.")
                  : FromCall(call);
    return 0;
}

bool FetchRecording(Client::DistNetClient& client, uint32_t recording, FetchedTrace& trace, Outcome& failure)
{
    double bytes = 1;
    trace = {recording, "", 0, 0, 0};
    while (static_cast<double>(trace.text.size()) < bytes) {
        std::string json;
        const Client::CallResult call = client.StopTrace(trace.recording, trace.text.size(), json);
        if (!call.Succeeded()) {
            failure = call.status == Client::CallStatus::ANSWERED && call.code == Host::HOST_NO_RECORDING
                          ? NotDone("no such recording runs", "`distnetctl trace start` starts one.")
                          : FromCall(call);
            return false;
        }
        const Json piece = ParseJson(json);
        trace.recording = static_cast<uint32_t>(NumberOf(piece.get(), "recording"));
        // As it stands: it is a file's content, not a text to show.
        const char* text = cJSON_GetStringValue(cJSON_GetObjectItemCaseSensitive(piece.get(), "text"));
        trace.text += text != nullptr ? text : "";
        trace.spans = static_cast<int>(NumberOf(piece.get(), "spans"));
        trace.dropped = static_cast<int>(NumberOf(piece.get(), "dropped"));
        trace.durationMs = NumberOf(piece.get(), "duration_ms");
        bytes = text != nullptr ? NumberOf(piece.get(), "bytes") : 0;
    }
    return true;
}

int RunTraceStart(const GlobalOptions& options, Output& output)
{
    Outcome failure;
    const auto client = ConnectClient(options, failure);
    const uint32_t recording = client ? StartRecording(*client, QuviewDFX::RECORDING_LIMIT, true, failure) : 0;
    if (recording == 0) {
        return output.Finish(std::move(failure));
    }
    Json details = NewObject();
    cJSON_AddNumberToObject(details.get(), "recording", recording);
    return output.Finish(Done("Recording " + std::to_string(recording) +
                                  " runs, for 10 minutes at most. `distnetctl trace stop FILE` ends it.",
                              std::move(details)));
}

int RunTraceStop(const GlobalOptions& options, Output& output, const std::filesystem::path& file, uint32_t recording)
{
    if (const std::string why = WhyNotWritable(file); !why.empty()) {
        return output.Finish(NotDone(why, "Nothing was stopped; name another file."));
    }
    Outcome failure;
    const auto client = ConnectClient(options, failure);
    FetchedTrace trace;
    if (!client || !FetchRecording(*client, recording, trace, failure)) {
        return output.Finish(std::move(failure));
    }
    if (auto written = WriteFileAtomically(file, trace.text, TRACE_FILE_MODE); !written) {
        return output.Finish(NotDone(written.Message(), ""));
    }
    Json details = NewObject();
    AddText(details.get(), "file", file);
    cJSON_AddNumberToObject(details.get(), "recording", trace.recording);
    cJSON_AddNumberToObject(details.get(), "spans", trace.spans);
    cJSON_AddNumberToObject(details.get(), "dropped", trace.dropped);
    cJSON_AddNumberToObject(details.get(), "duration_ms", trace.durationMs);
    const std::string dropped = trace.dropped > 0 ? "; " + std::to_string(trace.dropped) + " more did not fit" : "";
    return output.Finish(Done(std::to_string(trace.spans) + " spans of " + DurationText(trace.durationMs) +
                                  " written to " + file.string() + dropped + ". Open it in any viewer of trace events.",
                              std::move(details)));
}

}  // namespace Vexo::Ctl
