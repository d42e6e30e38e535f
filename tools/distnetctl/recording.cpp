#include "tools/distnetctl/recording.h"

#include "interfaces/i_distnet_host.h"
#include "platform/dfx/trace_recorder.h"
#include "tools/distnetctl/json.h"

namespace Vexo::Ctl {

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

}  // namespace Vexo::Ctl
