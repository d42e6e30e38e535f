#include <unistd.h>

#include "interfaces/host_answers_json.h"
#include "platform/base/files.h"
#include "platform/dfx/trace_recorder.h"
#include "tools/distnetctl/commands.h"
#include "tools/distnetctl/recording.h"

namespace Vexo::Ctl {
namespace {

constexpr mode_t TRACE_FILE_MODE = 0644;  // other users may read a trace, because it contains no ids and no secrets

// Returns the reason why the file cannot be created. Empty if it can be created. Called before the recording is
// stopped, because the daemon deletes a recording after the last part of it was read.
std::string WhyNotWritable(const std::filesystem::path& file)
{
    std::error_code ignored;
    if (std::filesystem::is_directory(file, ignored)) {
        return file.string() + ": is a folder";
    }
    const std::filesystem::path folder = file.has_parent_path() ? file.parent_path() : ".";
    return ::access(folder.c_str(), W_OK | X_OK) == 0 ? "" : folder.string() + ": cannot create a file there";
}

}  // namespace

int RunTraceStart(const GlobalOptions& options, Output& output)
{
    return WithClient(options, output, [](Client::DistNetClient& client) {
        Outcome failure;
        const uint32_t recording = StartRecording(client, QuviewDFX::RECORDING_LIMIT, true, failure);
        return recording == 0 ? std::move(failure)
                              : Done("Recording " + std::to_string(recording) +
                                         " runs, for 10 minutes at most. `distnetctl trace stop FILE` ends it.",
                                     Host::ToJson(Host::TraceRecording{recording}));
    });
}

int RunTraceStop(const GlobalOptions& options, Output& output, const std::filesystem::path& file, uint32_t recording)
{
    if (const std::string why = WhyNotWritable(file); !why.empty()) {
        return output.Finish(NotDone(why, "Nothing was stopped; name another file."));
    }
    return WithClient(options, output, [&](Client::DistNetClient& client) {
        Outcome failure;
        Host::TracePiece trace;
        if (!FetchRecording(client, recording, trace, failure)) {
            return failure;
        }
        if (auto written = WriteFileAtomically(file, trace.text, TRACE_FILE_MODE); !written) {
            return NotDone(written.error().message, "");
        }
        Json details = NewObject();
        AddText(details.get(), "file", file);
        AddNumber(details.get(), "recording", trace.recording);
        AddNumber(details.get(), "spans", trace.spans);
        AddNumber(details.get(), "dropped", trace.dropped);
        AddMember(details.get(), "duration_ms", Host::ToJson(trace.duration));
        const std::string dropped = trace.dropped > 0 ? "; " + std::to_string(trace.dropped) + " more did not fit" : "";
        return Done(std::to_string(trace.spans) + " spans of " +
                        DurationText(static_cast<double>(trace.duration.count())) + " written to " + file.string() +
                        dropped + ". Open it in any viewer of trace events.",
                    std::move(details));
    });
}

}  // namespace Vexo::Ctl
