#include "tools/distnetctl/recording.h"

#include "platform/dfx/trace_recorder.h"

namespace Vexo::Ctl {

uint32_t StartRecording(Client::DistNetClient& client, std::chrono::milliseconds limit, bool detached, Outcome& failure)
{
    uint32_t recording = 0;
    const Client::CallResult call = client.StartTrace(limit, detached, recording);
    if (call.Succeeded()) {
        return recording;
    }
    failure = call.status == Client::CallStatus::ANSWERED && call.code == Host::HOST_BUSY
                  ? NotDone(std::to_string(QuviewDFX::MAX_RECORDINGS) + " recordings run already",
                            "`distnetctl trace stop FILE` ends the oldest; each ends by itself after 10 minutes.")
                  : FromCall(call);
    return 0;
}

bool FetchRecording(Client::DistNetClient& client, uint32_t recording, Host::TracePiece& trace, Outcome& failure)
{
    trace = {};
    trace.recording = recording;
    trace.bytes = 1;  // the size is not known before the first piece; any value above 0 starts the loop
    while (trace.text.size() < trace.bytes) {
        Host::TracePiece piece;
        const Client::CallResult call = client.StopTrace(trace.recording, trace.text.size(), piece);
        if (!call.Succeeded()) {
            failure = call.status == Client::CallStatus::ANSWERED && call.code == Host::HOST_NO_RECORDING
                          ? NotDone("no such recording runs", "`distnetctl trace start` starts one.")
                          : FromCall(call);
            return false;
        }
        piece.text.insert(0, trace.text);
        trace = std::move(piece);
    }
    return true;
}

}  // namespace Vexo::Ctl
