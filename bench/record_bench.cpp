// Measures the records that the platform writes: log lines, system events and trace spans.
//   log.line         a line of four arguments to a file, beside spdlog with a synchronous file sink
//   log.format       the same with /dev/null as the file, so that the file system costs nothing
//   event.write      a system event to the event file
//   trace.span.off, trace.span.on    a span while nothing is recorded, and while it is recorded
#include <fcntl.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include "bench/bench.h"
#include "platform/base/unique_fd.h"
#include "platform/dfx/event_file.h"
#include "platform/dfx/log.h"
#include "platform/dfx/sinks.h"
#include "platform/dfx/sys_event.h"
#include "platform/dfx/trace.h"
#include "platform/dfx/trace_recorder.h"
#include "tests/support/temp_folder.h"

namespace {

using namespace Vexo;
using namespace Vexo::Bench;
using QuviewDFX::LogLabel;
using QuviewDFX::QuSysEvent;

constexpr LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "Bench"};
constexpr int LINES = 50'000;
constexpr int EVENTS = 10'000;
constexpr int SPANS_OFF = 10'000'000;
constexpr int SPANS_ON = 10'000;  // fewer than a recording holds (MAX_RECORDED_SPANS)

// Redirects standard error to a file while the object exists, because the sink of the daemon writes to standard error.
class StderrToFile : public NoCopyable {
public:
    explicit StderrToFile(const std::filesystem::path& file) : saved_(::dup(STDERR_FILENO))
    {
        const UniqueFd output(::open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_TRUNC | O_CLOEXEC, 0600));
        Check(saved_ && output, "open the log file");
        Check(::dup2(output.Get(), STDERR_FILENO) >= 0, "redirect standard error");
    }
    ~StderrToFile() { ::dup2(saved_.Get(), STDERR_FILENO); }

private:
    UniqueFd saved_;
};

// Both sides have written the line with write(2) when the call returns.
void CompareLogLines(const Arguments& arguments, const std::string& name, const std::filesystem::path& ours,
                     const std::filesystem::path& theirs)
{
    const std::string device = "7f3a1**c21e0";
    QuviewDFX::SetLogSink(QuviewDFX::MakeStderrLogSink());
    const auto spdlogLogger = spdlog::basic_logger_mt(name, theirs.string(), true);
    spdlogLogger->set_pattern("%Y-%m-%dT%H:%M:%S.%e%z %L %n: %v");
    spdlogLogger->flush_on(spdlog::level::trace);
    Compare(
        arguments, name, "ns",
        {"ours",
         [&] {
             const StderrToFile redirected(ours);
             return TimeAll(LINES, [&device] {
                 QuviewDFX::LogInfo(LABEL, "device %{public}s, session %{public}d, port %{public}u, code %{public}d",
                                    device, 17, 46007U, -7);
             });
         }},
        {"spdlog, sync file sink", [&] {
             return TimeAll(
                 LINES, [&] { spdlogLogger->info("device {}, session {}, port {}, code {}", device, 17, 46007U, -7); });
         }});
}

void CompareLogFiles(const Arguments& arguments, const std::filesystem::path& folder)
{
    const std::filesystem::path ours = folder / "ours.log";
    const std::filesystem::path theirs = folder / "spdlog.log";
    CompareLogLines(arguments, "log.line", ours, theirs);
    Check(std::filesystem::file_size(ours) > size_t{LINES} * 60, "write every log line");
    Check(std::filesystem::file_size(theirs) > size_t{LINES} * 60, "write every line of spdlog");
}

void MeasureEvents(const Arguments& arguments, const std::filesystem::path& folder)
{
    auto file = QuviewDFX::EventFile::Open({.file = folder / "events.jsonl"});
    Check(file.has_value(), "open the event file");
    QuviewDFX::SetSysEventSink(file.value());
    Measure(arguments, "event.write", "us", {"ours", [] {
                                                 return TimeEach(EVENTS, [] {
                                                     const int result = QuSysEvent::Write(
                                                         "BENCH", "START_NETWORK", QuSysEvent::BEHAVIOR, "DEVICE_ID",
                                                         std::string("7f3a1**c21e0"), "SESSION_ID", 17);
                                                     Check(result == 0, "write an event");
                                                 });
                                             }});
    QuviewDFX::SetSysEventSink(nullptr);
}

void MeasureSpans(const Arguments& arguments)
{
    // The loops call no std::function, because such a call would cost more than a span that is not recorded.
    if (IsWanted(arguments, "trace.span.off")) {
        Measure(arguments, "trace.span.off", "ns", {"ours", [] {
                                                        const Sample all = TimeAll(1, [] {
                                                            for (int i = 0; i < SPANS_OFF; ++i) {
                                                                const TraceSpan span("bench");
                                                            }
                                                        });
                                                        return Sample{all.p50 / SPANS_OFF, all.p50 / SPANS_OFF};
                                                    }});
    }
    if (IsWanted(arguments, "trace.span.on")) {
        const auto recorder = std::make_shared<QuviewDFX::TraceRecorder>("bench");
        Measure(arguments, "trace.span.on", "ns", {"ours", [&recorder] {
                                                       const uint32_t recording =
                                                           recorder->Start(QuviewDFX::RECORDING_LIMIT, false);
                                                       const Sample all = TimeAll(1, [] {
                                                           for (int i = 0; i < SPANS_ON; ++i) {
                                                               const TraceSpan span("bench");
                                                           }
                                                       });
                                                       const auto text = recorder->Stop(recording, 0, SIZE_MAX);
                                                       Check(text && text->spans == SPANS_ON, "record every span");
                                                       return Sample{all.p50 / SPANS_ON, all.p50 / SPANS_ON};
                                                   }});
    }
}

}  // namespace

int main(int argc, char** argv)
{
    const Arguments arguments = Start(argc, argv);
    const Tests::TempFolder folder;
    if (IsWanted(arguments, "log.line")) {
        CompareLogFiles(arguments, folder.Path());
    }
    if (IsWanted(arguments, "log.format")) {
        CompareLogLines(arguments, "log.format", "/dev/null", "/dev/null");
    }
    if (IsWanted(arguments, "event.write")) {
        MeasureEvents(arguments, folder.Path());
    }
    MeasureSpans(arguments);
    return 0;
}
