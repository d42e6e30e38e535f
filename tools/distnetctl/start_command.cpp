#include <algorithm>
#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "platform/base/clock.h"
#include "platform/base/text.h"
#include "platform/dfx/trace_recorder.h"
#include "tools/distnetctl/account_view.h"
#include "tools/distnetctl/commands.h"
#include "tools/distnetctl/peers.h"
#include "tools/distnetctl/printable.h"
#include "tools/distnetctl/recording.h"
#include "tools/distnetctl/timing.h"

namespace Vexo::Ctl {

namespace {

using Host::WifiState;

// A difference of clocks that may be why a peer refuses this device.
constexpr std::chrono::minutes FAR_CLOCK{30};
// The result of a start whose peer could not be woken.
constexpr std::string_view NOT_WOKEN = "DISTNET_ERR_COLLABORATION_START";
// A transport, and the check of it (host).
constexpr const char* BLUETOOTH = "bluetooth";

// Without the members that only a caller of WaitForWifi needs.
Json WifiDetails(const Host::WifiStatus& wifi)
{
    Json object = Host::ToJson(wifi);
    cJSON_DeleteItemFromObjectCaseSensitive(object.get(), "state_code");
    cJSON_DeleteItemFromObjectCaseSensitive(object.get(), "attempt");
    return object;
}

// The advice of the check with this name; empty if there is none.
std::string AdviceOn(const std::string& name, const std::vector<QuviewDFX::HealthCheck>& checks)
{
    for (const QuviewDFX::HealthCheck& check : checks) {
        if (check.name == name) {
            std::string advice = EscapeHidden(check.advice);
            // The advice becomes part of a sentence here, so put back quotes around the command in it.
            const size_t command = advice.find(": ");
            return command == std::string::npos ? advice : advice.insert(command + 2, "`") + "`";
        }
    }
    return "";
}

double MillisecondsSince(SteadyTime from)
{
    return std::chrono::duration<double, std::milli>(Clock::System().Now() - from).count();
}

// One run of `start`: from the request to the joined network.
class Start {
public:
    Start(const GlobalOptions& options, Output& output, Client::DistNetClient& client, Peer peer)
        : options_(options), output_(output), client_(client), peer_(std::move(peer)), details_(PeerDetails(peer_))
    {
    }

    Outcome Run(bool wait, bool timing)
    {
        Host::HostStatus status;
        Client::CallResult call = client_.GetStatus(status);
        if (!call.Succeeded()) {
            return FromCall(call);
        }
        const Host::WifiStatus before = Printable(status.wifi);
        if (before.radio != Host::RadioState::ON) {
            return CannotJoin(before);
        }

        output_.Status(Column(peer_.name, 12) + "  … waiting for its hotspot");
        asked_ = Clock::System().Now();
        call = timing ? AskTimed() : client_.StartDistributedNetwork(0, 0, peer_.networkId);
        const double requestMs = MillisecondsSince(asked_);
        cJSON_AddNumberToObject(details_.get(), "request_ms", requestMs);
        if (!call.Succeeded()) {
            return Refused(call, requestMs);
        }
        answeredWell_ = true;
        StepLine(peer_.name, output_.Tick() + " hotspot ready   " + DurationText(requestMs));
        return wait ? WaitForJoin(before) : NotWaited();
    }

private:
    // Sends the request while the daemon's spans are recorded. If no recording can be started, sends it all the same.
    Client::CallResult AskTimed()
    {
        Outcome why;
        const auto limit = std::min<std::chrono::milliseconds>(options_.Timeout(), QuviewDFX::RECORDING_LIMIT);
        const uint32_t recording = StartRecording(client_, limit, false, why);
        asked_ = Clock::System().Now();
        const Interval asked{SteadyNowMs(), 0};
        Client::CallResult call = client_.StartDistributedNetwork(0, 0, peer_.networkId);
        const double answeredMs = SteadyNowMs();
        Host::TracePiece trace;
        // A call that timed out has closed its connection. The spans recorded so far still show where the start hangs,
        // so fetch them over another connection.
        const auto second = call.status == Client::CallStatus::TIMED_OUT ? ConnectClient(options_, why) : nullptr;
        if (recording != 0 && FetchRecording(second ? *second : client_, recording, trace, why)) {
            timing_ = ParseTiming(trace.text, {asked.beginMs, answeredMs});
        } else {
            AddMember(details_.get(), "timing", nullptr);
            output_.Line("No timing: " + (why.message.empty() ? call.message : why.message) + ".");
        }
        return call;
    }

    // Ends the Wi-Fi step of the timing, whether the join succeeded or not.
    void WaitedForWifi()
    {
        if (timing_ && timing_->answer) {
            timing_->total.endMs = SteadyNowMs();
            timing_->wifi = Interval{timing_->answer->endMs, timing_->total.endMs};
        }
    }

    // Prints a step when it ends. With --timing, ShowTiming prints all steps at the end instead.
    void StepLine(const std::string& first, const std::string& step)
    {
        if (!timing_) {
            output_.Line(Column(first, 12) + "  " + step);
        }
    }

    void ShowTiming(const Outcome& outcome)
    {
        AddMember(details_.get(), "timing", TimingDetails(*timing_));
        const StepNames names{output_.Tick(), output_.Cross(), peer_.name, joined_ ? "Wi-Fi joined" : "Wi-Fi asked",
                              outcome.exitCode == EXIT_TIMED_OUT};
        // If the peer answered well and the Wi-Fi step was never reached, no step of the timing has failed.
        const bool failed = outcome.exitCode != EXIT_DONE && !(answeredWell_ && !timing_->wifi);
        for (const std::string& line : TimingLines(*timing_, failed, names)) {
            output_.Line(line);
        }
    }

    Outcome WithDetails(Outcome outcome)
    {
        if (timing_) {
            ShowTiming(outcome);
        }
        outcome.details = std::move(details_);
        return outcome;
    }

    // This device cannot join, so the peer is not asked to open its hotspot.
    Outcome CannotJoin(const Host::WifiStatus& wifi)
    {
        AddMember(details_.get(), "wifi", WifiDetails(wifi));
        const std::string why = wifi.radio == Host::RadioState::ABSENT ? "this device has no Wi-Fi"
                                : wifi.radio == Host::RadioState::BLOCKED
                                    ? "this device's Wi-Fi is blocked by a switch of the machine"
                                    : "this device's Wi-Fi is switched off";
        std::vector<QuviewDFX::HealthCheck> checks;
        (void)client_.GetChecks(checks);
        const std::string advice = AdviceOn("radio", checks);
        return WithDetails(
            NotDone(why + ", so it cannot join " + peer_.name + "'s hotspot; " + peer_.name + " was not asked",
                    advice.empty() ? "`distnetctl doctor` says how to repair it." : advice));
    }

    Outcome Refused(const Client::CallResult& call, double requestMs)
    {
        Outcome outcome = FromCall(call);
        if (call.status == Client::CallStatus::TIMED_OUT) {
            outcome.message = GivenTime() + " was too short: " + peer_.name + " has not answered yet";
            outcome.advice = "The request goes on: " + peer_.name +
                             " may still open its hotspot, and this device join it. `distnetctl status` shows its "
                             "state; allow more with --timeout SECONDS.";
        } else if (call.status == Client::CallStatus::ANSWERED) {
            StepLine(peer_.name, output_.Cross() + " hotspot         failed after " + DurationText(requestMs));
            outcome.message = peer_.name + " did not get this device online (code " + std::to_string(call.code) +
                              "): " + WhyRefused(call, outcome.advice);
        }
        return WithDetails(std::move(outcome));
    }

    // Why the start failed. For a peer that is unknown or away this is more precise than the meaning of the code.
    // Changes the advice where this device's own Bluetooth is the reason.
    std::string WhyRefused(const Client::CallResult& call, std::string& advice)
    {
        if (!IsKnown(peer_)) {
            return "no device of this account with that id was ever met";
        }
        std::vector<Peer> known;
        if (!client_.GetDevices(known).Succeeded()) {
            return call.message;
        }
        const auto now = std::find_if(known.begin(), known.end(),
                                      [this](const Peer& peer) { return peer.networkId == peer_.networkId; });
        if (now == known.end()) {
            return call.message;
        }
        const bool isNotWoken = Client::DescribeCode(call.code).name == NOT_WOKEN;
        if (isNotWoken && abs(now->clockAhead) >= FAR_CLOCK) {
            const auto difference = std::chrono::duration_cast<std::chrono::seconds>(now->clockAhead);
            return "its clock is " + RoughDuration(abs(difference)) +
                   (difference.count() > 0 ? " ahead of" : " behind") +
                   " this device's, so it may not accept this device's certificate; set the one that is wrong";
        }
        const bool staysAway = !peer_.online && now->lastSeen == peer_.lastSeen;
        if (now->online || !(isNotWoken || staysAway)) {
            return call.message;
        }
        return "it is away, and did not answer where it was last reached, " + LastSeenText(*now) + ", over " +
               WayText(*now) + (now->transport == BLUETOOTH ? OwnBluetooth(advice) : "");
    }

    // What is wrong with the Bluetooth of this device; empty if nothing is. advice: set if something is.
    std::string OwnBluetooth(std::string& advice)
    {
        std::vector<QuviewDFX::HealthCheck> checks;
        (void)client_.GetChecks(checks);
        const auto bluetooth = std::find_if(
            checks.begin(), checks.end(), [](const QuviewDFX::HealthCheck& check) { return check.name == BLUETOOTH; });
        if (bluetooth == checks.end() || bluetooth->good.value_or(false)) {
            return "";
        }
        advice = AdviceOn(BLUETOOTH, checks);
        return "; and on this device " + EscapeHidden(bluetooth->message);
    }

    std::string GivenTime() const
    {
        return "the limit of " + DurationText(options_.timeoutSeconds * 1000) + " (--timeout)";
    }

    Outcome NotWaited()
    {
        return WithDetails(
            Done(peer_.name + " opened its hotspot; this device is joining it. `distnetctl status` shows the result."));
    }

    Outcome WaitForJoin(const Host::WifiStatus& before)
    {
        const auto began = Clock::System().Now();
        const auto deadline = began + options_.Timeout();
        output_.Status(Column("", 12) + "  … joining its Wi-Fi");
        Host::WifiStatus wifi = before;
        while (wifi.attempt == before.attempt ||
               (wifi.state != WifiState::CONNECTED && wifi.state != WifiState::FAILED)) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::System().Now());
            if (left.count() <= 0) {
                WaitedForWifi();
                AddMember(details_.get(), "wifi", WifiDetails(wifi));
                return WithDetails({EXIT_TIMED_OUT, CODE_TIMED_OUT, "TIMED_OUT",
                                    GivenTime() + " was too short: " + peer_.name +
                                        " opened its hotspot, but this device has not joined it yet",
                                    "The device is still joining: see `distnetctl status`. Allow more time with "
                                    "--timeout SECONDS.",
                                    nullptr});
            }
            Host::WifiStatus now;
            const Client::CallResult call = client_.WaitForWifi(wifi, std::min(left, Host::HOST_MAX_WAIT), now);
            if (!call.Succeeded()) {
                return WithDetails(FromCall(call));
            }
            wifi = Printable(std::move(now));
            if (!wifi.present) {
                return WithDetails(NotDone("this device's Wi-Fi went away while it joined " + peer_.name, ""));
            }
        }
        WaitedForWifi();
        return Joined(wifi, MillisecondsSince(began));
    }

    Outcome Joined(const Host::WifiStatus& wifi, double joinMs)
    {
        cJSON_AddNumberToObject(details_.get(), "join_ms", joinMs);
        AddMember(details_.get(), "wifi", WifiDetails(wifi));
        if (wifi.state == WifiState::FAILED) {
            StepLine("", output_.Cross() + " Wi-Fi           failed after " + DurationText(joinMs));
            return WithDetails(NotDone("joining \"" + wifi.ssid + "\" failed: " + wifi.reason,
                                       "See that " + peer_.name + "'s hotspot is on and in reach, then start again."));
        }
        const std::string network = "\"" + wifi.ssid + "\"";
        StepLine("", output_.Tick() + " Wi-Fi joined    " + DurationText(joinMs) + "   " + network +
                         (wifi.address.empty() ? "" : "  " + wifi.address));
        joined_ = true;
        return WithDetails(
            Done("You are online through " + peer_.name + (timing_ ? ", on " + network : std::string()) + "."));
    }

    const GlobalOptions& options_;
    Output& output_;
    Client::DistNetClient& client_;
    const Peer peer_;
    Json details_;
    SteadyTime asked_;
    std::optional<Timing> timing_;
    bool answeredWell_ = false;
    bool joined_ = false;
};

// Makes the daemon look for devices nearby, for as long as a scan and --timeout allow. The known devices are read again
// afterwards, so the result of the call does not matter. It has a connection of its own, because a call that times out
// closes its connection.
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

int RunStart(const GlobalOptions& options, Output& output, const std::string& word, bool wait, bool timing)
{
    return WithClient(options, output, [&](Client::DistNetClient& client) {
        if (auto removed = WhyRemoved(client)) {
            return *std::move(removed);
        }
        Outcome failure;
        std::optional<Peer> peer = FindPeer(client, word, failure, ScanFor(options, output, word));
        if (!peer) {
            return failure;
        }
        Outcome outcome = Start(options, output, client, *std::move(peer)).Run(wait, timing);
        // The peer may have been the first to say it.
        auto removed = outcome.code != 0 ? WhyRemoved(client) : std::nullopt;
        return removed ? *std::move(removed) : std::move(outcome);
    });
}

}  // namespace Vexo::Ctl
