// The command `start`: gets this device online through one device. The daemon makes an attempt, and undoes a failed
// attempt. With --no-wait, the command only sends a request to the service, and nothing is undone.
#include <algorithm>
#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "platform/base/text.h"
#include "platform/dfx/trace_recorder.h"
#include "tools/distnetctl/account_view.h"
#include "tools/distnetctl/commands.h"
#include "tools/distnetctl/interrupt.h"
#include "tools/distnetctl/online_attempt.h"
#include "tools/distnetctl/peers.h"
#include "tools/distnetctl/printable.h"
#include "tools/distnetctl/recording.h"
#include "tools/distnetctl/timing.h"

namespace Vexo::Ctl {

namespace {

using Host::OnlineStepKind;
using Host::OnlineStepState;

// The trace spans of a request can begin this much earlier than the observed beginning of the hotspot step. There are
// two reasons: the daemon rounds the duration of a step, and its answer takes some time.
constexpr double EARLIER_MS = 20;

// When a step ran, as observed by this program, and whether the step has ended.
struct SeenStep {
    Interval when;
    bool hasEnded = false;
};

// Returns when the last step of the given kind ran. nowMs: the time when the daemon's answer with these steps arrived.
std::optional<SeenStep> SeenIn(const std::vector<Host::OnlineStep>& steps, OnlineStepKind kind, double nowMs)
{
    double endMs = nowMs;
    for (auto step = steps.rbegin(); step != steps.rend(); ++step) {
        const double beginMs = endMs - static_cast<double>(step->took.count());
        if (step->kind == kind) {
            return SeenStep{{beginMs, endMs}, step->state != OnlineStepState::RUNNING};
        }
        endMs = beginMs;
    }
    return std::nullopt;
}

// Adds two durations to the details of the outcome. "request_ms" is the time to find the device and open its hotspot.
// "join_ms" is the time to join the Wi-Fi.
void AddDurations(Outcome& outcome, const std::vector<Host::OnlineStep>& steps)
{
    if (!outcome.details) {
        outcome.details = NewObject();
    }
    std::optional<double> requestMs;
    std::optional<double> joinMs;
    for (const Host::OnlineStep& step : steps) {
        const auto tookMs = static_cast<double>(step.took.count());
        if (step.kind == OnlineStepKind::FIND || step.kind == OnlineStepKind::HOTSPOT) {
            requestMs = requestMs.value_or(0) + tookMs;
        } else if (step.kind == OnlineStepKind::WIFI) {
            joinMs = tookMs;
        }
    }
    if (requestMs) {
        cJSON_AddNumberToObject(outcome.details.get(), "request_ms", *requestMs);
    }
    if (joinMs) {
        cJSON_AddNumberToObject(outcome.details.get(), "join_ms", *joinMs);
    }
}

// Runs the command `start --timing`. Records the daemon's trace spans. Prints how long the spans took, instead of the
// steps.
class TimedStart {
public:
    TimedStart(const GlobalOptions& options, Output& output, Client::DistNetClient& client, const Peer& peer)
        : options_(options), output_(output), client_(client), peer_(peer)
    {
    }

    Outcome Run()
    {
        Outcome why;
        const auto limit = options_.hasTimeout
                               ? std::min<std::chrono::milliseconds>(options_.Timeout(), QuviewDFX::RECORDING_LIMIT)
                               : QuviewDFX::RECORDING_LIMIT;
        const uint32_t recording = StartRecording(client_, limit, false, why);
        const bool showsSteps = recording == 0;
        Outcome outcome =
            Attempt(options_, output_, client_, {Host::OnlineMode::START, {peer_.networkId}, true, showsSteps})
                .Run([this](const Host::OnlineAnswer& attempt) { See(attempt.steps); });
        AddDurations(outcome, steps_);
        Host::TracePiece trace;
        const bool isFetched = recording != 0 && FetchRecording(client_, recording, trace, why);
        if (isFetched && hotspot_) {
            Show(trace.text, outcome);
            return outcome;
        }
        AddMember(outcome.details.get(), "timing", nullptr);
        output_.Line(
            "No timing: " + (why.message.empty() ? peer_.name + " was not asked for its hotspot" : why.message) + ".");
        return outcome;
    }

private:
    void See(const std::vector<Host::OnlineStep>& steps)
    {
        steps_ = steps;
        See(OnlineStepKind::HOTSPOT, hotspot_);
        See(OnlineStepKind::WIFI, wifi_);
    }

    // Updates the observed time of a step until the step has ended. The first observation after the end is kept,
    // because it is the most precise one.
    void See(OnlineStepKind kind, std::optional<SeenStep>& seen)
    {
        if (!seen || !seen->hasEnded) {
            seen = SeenIn(steps_, kind, SteadyNowMs());
        }
    }

    bool IsDone(OnlineStepKind kind) const
    {
        return std::any_of(steps_.begin(), steps_.end(), [kind](const Host::OnlineStep& step) {
            return step.kind == kind && step.state == OnlineStepState::DONE;
        });
    }

    void Show(const std::string& trace, Outcome& outcome)
    {
        Timing timing = ParseTiming(trace, {hotspot_->when.beginMs - EARLIER_MS, hotspot_->when.endMs});
        timing.total = hotspot_->when;
        if (wifi_) {
            timing.total.endMs = wifi_->when.endMs;
        }
        if (wifi_ && timing.answer) {
            timing.wifi = Interval{timing.answer->endMs, timing.total.endMs};
        }
        AddMember(outcome.details.get(), "timing", TimingDetails(timing));
        const bool hasAnswered = IsDone(OnlineStepKind::HOTSPOT);
        // If the device opened its hotspot and the Wi-Fi step did not begin, then none of the timed steps has failed.
        const bool hasFailed = !(hasAnswered && !timing.wifi) && !IsDone(OnlineStepKind::WIFI);
        const StepNames names{output_.Tick(), output_.Cross(), peer_.name, "Wi-Fi joined",
                              outcome.exitCode == EXIT_TIMED_OUT};
        for (const std::string& line : TimingLines(timing, hasFailed, names)) {
            output_.Line(line);
        }
    }

    const GlobalOptions& options_;
    Output& output_;
    Client::DistNetClient& client_;
    const Peer peer_;
    std::vector<Host::OnlineStep> steps_;
    std::optional<SeenStep> hotspot_;
    std::optional<SeenStep> wifi_;
};

// Sends the request to the service. The service answers when the peer's hotspot is open and this device has begun to
// join it. The daemon undoes nothing, because this request is not an attempt.
Outcome AskService(Client::DistNetClient& client, Output& output, const Peer& peer)
{
    Host::HostStatus status;
    Client::CallResult call = client.GetStatus(status);
    if (!call.Succeeded()) {
        return FromCall(call);
    }
    if (status.wifi.radio != Host::RadioState::ON) {
        return NotDone("this device's Wi-Fi is not on, so it cannot join " + peer.name + "'s hotspot; " + peer.name +
                           " was not asked",
                       "`distnetctl doctor` says how to repair it.");
    }
    if (output.IsTerminal()) {
        output.Status("waiting for " + peer.name + "'s hotspot");
    }
    call = client.StartDistributedNetwork(0, 0, peer.networkId);
    if (call.Succeeded()) {
        return Done(Wrapped(peer.name + " opened its hotspot; this device is joining it. `distnetctl status` shows the "
                                        "result, and nothing but `distnetctl down` undoes it."));
    }
    Outcome outcome = FromCall(call);
    if (call.status == Client::CallStatus::ANSWERED) {
        outcome.message =
            peer.name + " did not get this device online (code " + std::to_string(call.code) + "): " + call.message;
    } else if (call.status == Client::CallStatus::TIMED_OUT) {
        outcome.advice = "The request goes on: " + peer.name +
                         " may still open its hotspot, and this device join it. `distnetctl down` undoes it.";
    }
    return outcome;
}

// Makes the daemon scan for devices nearby. Blocks for at most HOST_SCAN_LIMIT, and not longer than --timeout. The
// result of the scan is ignored, because the caller reads the known devices again. Uses a second connection, because a
// connection is closed if a call on it times out.
void ScanNearby(const GlobalOptions& options)
{
    Outcome failure;
    if (const auto client = ConnectClient(options, failure)) {
        client->SetLimit(std::chrono::milliseconds(0));
        std::vector<Peer> devices;
        (void)client->ScanDevices(devices, std::min(options.Timeout(), Host::HOST_SCAN_LIMIT));
    }
}

}  // namespace

std::function<void()> ScanFor(const GlobalOptions& options, Output& output, const std::string& word)
{
    return [&options, &output, word] {
        output.Status("looking for " + (IsNetworkId(word) ? ShortId(word) : EscapeHidden(word)) + " nearby");
        ScanNearby(options);
    };
}

namespace {

Outcome StartThrough(const GlobalOptions& options, Output& output, Client::DistNetClient& client, const Peer& peer,
                     bool wait, bool timing)
{
    Outcome outcome;
    if (!wait) {
        outcome = AskService(client, output, peer);
        outcome.details = PeerDetails(peer);
        return outcome;
    }
    if (timing) {
        outcome = TimedStart(options, output, client, peer).Run();
    } else {
        std::vector<Host::OnlineStep> steps;
        outcome = Attempt(options, output, client, {Host::OnlineMode::START, {peer.networkId}, true})
                      .Run([&steps](const Host::OnlineAnswer& attempt) { steps = attempt.steps; });
        AddDurations(outcome, steps);
    }
    return outcome;
}

Outcome RunStartWith(const GlobalOptions& options, Output& output, Client::DistNetClient& client,
                     const std::string& word, bool wait, bool timing)
{
    if (auto removed = WhyRemoved(client)) {
        return *std::move(removed);
    }
    Outcome outcome;
    const std::optional<Peer> peer = FindPeer(client, word, outcome, ScanFor(options, output, word));
    if (!peer) {
        return outcome;
    }
    outcome = StartThrough(options, output, client, *peer, wait, timing);
    // The peer may have told this device that this device was removed from the account.
    auto removed = outcome.exitCode == EXIT_FAILED ? WhyRemoved(client) : std::nullopt;
    return removed ? *std::move(removed) : std::move(outcome);
}

}  // namespace

int RunStart(const GlobalOptions& options, Output& output, const std::string& word, bool wait, bool timing)
{
    if (!wait) {
        return WithClient(options, output, [&](Client::DistNetClient& client) {
            return RunStartWith(options, output, client, word, wait, timing);
        });
    }
    CancelOnInterrupt(options, output);
    Outcome outcome;
    if (const auto client = ConnectClient(options, outcome)) {
        outcome = RunStartWith(options, output, *client, word, wait, timing);
    }
    WaitIfInterrupted();
    return output.Finish(std::move(outcome));
}

}  // namespace Vexo::Ctl
