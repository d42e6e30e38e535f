#include "tools/distnetctl/online_attempt.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "tools/distnetctl/interrupt.h"
#include "tools/distnetctl/printable.h"

namespace Vexo::Ctl {

namespace {

using Host::OnlinePhase;
using Host::OnlineStepState;

constexpr const char* UNDOING = "undoing what was begun";
constexpr const char* OWNER = "waiting for the owner's answer";

bool HasEnded(OnlinePhase phase)
{
    return phase != OnlinePhase::RUNNING && phase != OnlinePhase::CANCELLING;
}

// Finds a check of the command `doctor` by its name. Returns the check if it failed or was not made. Returns no value
// if the check succeeded or does not exist.
std::optional<QuviewDFX::HealthCheck> ProblemOf(Client::DistNetClient& client, const char* name)
{
    std::vector<QuviewDFX::HealthCheck> checks;
    (void)client.GetChecks(checks);
    const auto found = std::find_if(checks.begin(), checks.end(), [&](const QuviewDFX::HealthCheck& check) {
        return check.name == name && check.good != true;
    });
    return found != checks.end() ? std::optional(*found) : std::nullopt;
}

bool WasReachedOverBluetooth(Client::DistNetClient& client, const std::string& networkId)
{
    std::vector<Host::KnownDevice> known;
    (void)client.GetDevices(known);
    return std::any_of(known.begin(), known.end(), [&](const Host::KnownDevice& device) {
        return device.networkId == networkId && device.transport == "bluetooth";
    });
}

// If a radio of this device may have caused the fault, replaces the advice in the fault by the advice of `doctor` for
// this radio. If this radio is Bluetooth, also adds the problem of the radio to the message of the fault.
void AddOwnRadio(Client::DistNetClient& client, Host::OnlineFault& fault)
{
    using Code = Host::OnlineFaultCode;
    const bool isNotReached = fault.code == Code::AWAY || fault.code == Code::UNREACHABLE;
    if (fault.code == Code::WIFI_OFF || fault.code == Code::WIFI_BLOCKED || fault.code == Code::WIFI_ABSENT) {
        if (const auto problem = ProblemOf(client, "radio"); problem && !problem->advice.empty()) {
            fault.advice = problem->advice;
        }
    } else if (isNotReached && WasReachedOverBluetooth(client, fault.networkId)) {
        if (const auto problem = ProblemOf(client, "bluetooth")) {
            fault.message += "; and on this device " + problem->message;
            fault.advice = problem->advice;
        }
    }
}

}  // namespace

StepLog::StepLog(StepStyle style) : style_(std::move(style)) {}

std::vector<std::string> StepLog::Take(const Host::OnlineAnswer& attempt)
{
    std::vector<std::string> lines;
    isShown_.resize(std::max(isShown_.size(), attempt.steps.size()));
    for (size_t at = 0; at < attempt.steps.size(); ++at) {
        const Host::OnlineStep& step = attempt.steps[at];
        if (isShown_[at] || step.state == OnlineStepState::RUNNING) {
            continue;
        }
        isShown_[at] = true;
        if (NeedsNoLine(step)) {
            continue;
        }
        for (std::string& line : StepLines(step, step.networkId != device_, style_)) {
            lines.push_back(std::move(line));
        }
        device_ = step.networkId;
        waitedFor_.clear();
    }
    return lines;
}

// Returns true if no line is printed for the step. A cancelled or timed-out step has no line, because the outcome of
// the command shows it. If the owner of a device is asked several times, only the first question has a line.
bool StepLog::NeedsNoLine(const Host::OnlineStep& step)
{
    const Host::OnlineFaultCode code = step.fault ? step.fault->code : Host::OnlineFaultCode::FAILED;
    const bool isFirstQuestion = code == Host::OnlineFaultCode::OWNER_ASKED && asked_.insert(step.networkId).second;
    return code == Host::OnlineFaultCode::CANCELLED || code == Host::OnlineFaultCode::TIMED_OUT ||
           (code == Host::OnlineFaultCode::OWNER_ASKED && !isFirstQuestion);
}

std::string StepLog::TakeWait(const Host::OnlineAnswer& attempt, bool isEager)
{
    std::string wait = WaitOf(attempt, isEager);
    if (wait.empty() || wait == waitedFor_) {
        return "";
    }
    waitedFor_ = wait;
    return wait;
}

std::string StepLog::WaitOf(const Host::OnlineAnswer& attempt, bool isEager) const
{
    if (HasEnded(attempt.phase)) {
        return "";
    }
    if (attempt.phase == OnlinePhase::CANCELLING) {
        return UNDOING;
    }
    for (auto step = attempt.steps.rbegin(); step != attempt.steps.rend(); ++step) {
        const bool isOwnersTurn = asked_.count(step->networkId) != 0 && step->kind == Host::OnlineStepKind::HOTSPOT;
        if (step->state == OnlineStepState::RUNNING && !isOwnersTurn) {
            return isEager || step->took >= SLOW_STEP ? WaitText(*step) : "";
        }
    }
    return asked_.empty() ? "" : OWNER;
}

Attempt::Attempt(const GlobalOptions& options, Output& output, Client::DistNetClient& client, AttemptWish wish)
    : options_(options),
      output_(output),
      client_(client),
      wish_(std::move(wish)),
      began_(Clock::System().Now()),
      log_({output.Tick(), output.Cross(), !wish_.isForOne})
{
}

Outcome Attempt::Run(const Observer& observer)
{
    Client::CallResult call = client_.BeginOnline(wish_.mode, wish_.networkIds, now_);
    while (call.Succeeded()) {
        WaitIfInterrupted();
        Show();
        if (observer) {
            observer(now_);
        }
        if (HasEnded(now_.phase)) {
            if (now_.fault) {
                AddOwnRadio(client_, *now_.fault);
            }
            return FromAttempt(now_, wish_.isForOne);
        }
        const std::chrono::milliseconds left = Left();
        if (left.count() <= 0) {
            return TimedOut();
        }
        call = client_.WaitForOnline(now_.revision, std::min<std::chrono::milliseconds>(left, SLOW_STEP), now_);
    }
    WaitIfInterrupted();
    return FromCall(call);
}

void Attempt::Show()
{
    if (!wish_.showsSteps) {
        return;
    }
    for (const std::string& line : log_.Take(now_)) {
        output_.Line(line);
    }
    if (const std::string wait = log_.TakeWait(now_, output_.IsTerminal()); !wait.empty()) {
        output_.Status("… " + wait);
    }
}

// Returns the remaining time of --timeout. Without --timeout, returns HOST_MAX_WAIT, and only the daemon limits the
// time of each step.
std::chrono::milliseconds Attempt::Left() const
{
    return options_.hasTimeout
               ? std::chrono::ceil<std::chrono::milliseconds>(began_ + options_.Timeout() - Clock::System().Now())
               : Host::HOST_MAX_WAIT;
}

Outcome Attempt::TimedOut()
{
    std::string why = "the limit of " + DurationText(options_.timeoutSeconds * 1000) + " (--timeout) passed";
    if (!now_.steps.empty() && now_.steps.back().state == OnlineStepState::RUNNING) {
        why += " while " + WaitText(now_.steps.back());
    }
    output_.Status(std::string("… ") + UNDOING);
    const Client::CallResult call = client_.CancelOnline(true, now_);
    WaitIfInterrupted();
    if (!call.Succeeded()) {
        Outcome outcome = FromCall(call);
        outcome.message = why + ", and it is not known what was undone: " + outcome.message;
        outcome.name = "TIMED_OUT";
        outcome.exitCode = EXIT_TIMED_OUT;
        outcome.code = CODE_TIMED_OUT;
        return outcome;
    }
    return now_.phase == OnlinePhase::ONLINE ? FromAttempt(now_, wish_.isForOne) : FromTimedOut(now_, why);
}

void CancelOnInterrupt(const GlobalOptions& options, Output& output)
{
    EndOnInterrupt([&options, &output] {
        EndOnInterrupt([&output] {
            (void)output.Finish({EXIT_INTERRUPTED, CODE_INTERRUPTED, "CANCELLED",
                                 "cancelled; the daemon continues to undo what was begun", "", nullptr});
            (void)output.Flush();
        });
        output.Status(std::string("… ") + UNDOING);
        Outcome outcome;
        Host::OnlineAnswer attempt;
        // Uses a second connection to the daemon, because the first connection waits for an answer.
        if (const auto client = ConnectClient(options, outcome)) {
            const Client::CallResult call = client->CancelOnline(false, attempt);
            outcome = call.Succeeded() ? FromCancelled(attempt) : FromCall(call);
        }
        if (outcome.exitCode != EXIT_INTERRUPTED) {
            outcome.message = "cancelled, but it is not known what was undone: " + outcome.message;
            outcome.name = "CANCELLED";
            outcome.exitCode = EXIT_INTERRUPTED;
            outcome.code = CODE_INTERRUPTED;
        }
        (void)output.Finish(std::move(outcome));
        (void)output.Flush();
    });
}

}  // namespace Vexo::Ctl
