#include "tools/distnetctl/online_view.h"

#include <algorithm>

#include "interfaces/online_answers_json.h"
#include "platform/base/text.h"
#include "tools/distnetctl/account_view.h"
#include "tools/distnetctl/facts_view.h"
#include "tools/distnetctl/printable.h"

namespace Vexo::Ctl {

namespace {

using Host::OnlineFaultCode;
using Host::OnlinePhase;
using Host::OnlineStep;
using Host::OnlineStepKind;

constexpr size_t NAME_WIDTH = 12;
constexpr size_t MARK_COLUMN = NAME_WIDTH + 2;
constexpr size_t TEXT_COLUMN = MARK_COLUMN + 2;
constexpr size_t LABEL_WIDTH = 20;
constexpr size_t DURATION_WIDTH = 8;
constexpr size_t RESULT_COLUMN = TEXT_COLUMN + LABEL_WIDTH + DURATION_WIDTH + 2;
constexpr size_t FAILED_LABEL_WIDTH = 9;

std::string OverText(const std::string& transport)
{
    return transport == "tcp" ? " over the LAN" : transport == "bluetooth" ? " over Bluetooth" : "";
}

std::string DoneLabel(const OnlineStep& step)
{
    switch (step.kind) {
        case OnlineStepKind::FIND:
            return "found" + OverText(step.transport);
        case OnlineStepKind::HOTSPOT:
            return "hotspot ready";
        case OnlineStepKind::WIFI:
            return "Wi-Fi joined";
        case OnlineStepKind::ONLINE:
            break;
    }
    return "online";
}

// Returns the word for a failed step, such as "hotspot", that is printed before the reason. Empty if the device was not
// found, because the reason already says so.
std::string FailedLabel(OnlineStepKind kind)
{
    switch (kind) {
        case OnlineStepKind::FIND:
            break;
        case OnlineStepKind::HOTSPOT:
            return "hotspot";
        case OnlineStepKind::WIFI:
            return "Wi-Fi";
        case OnlineStepKind::ONLINE:
            return "online";
    }
    return "";
}

std::string NameText(const OnlineStep& step)
{
    return step.deviceName.empty() ? ShortId(step.networkId) : EscapeHidden(step.deviceName);
}

// Describes a failed step without the reason: "not found", "hotspot failed".
std::string ShortFailure(const OnlineStep& step)
{
    if (step.kind != OnlineStepKind::FIND) {
        return FailedLabel(step.kind) + " failed";
    }
    const OnlineFaultCode code = step.fault ? step.fault->code : OnlineFaultCode::FAILED;
    const bool isFound = code != OnlineFaultCode::AWAY && code != OnlineFaultCode::UNREACHABLE &&
                         code != OnlineFaultCode::UNKNOWN_DEVICE;
    return isFound ? "not ready" : "not found";
}

// Removes the device's name from the beginning of a reason, because the name is shown beside it. Example: "tablet is
// away since 2 h" becomes "away since 2 h".
std::string WithoutName(const std::string& reason, const std::string& name)
{
    for (const std::string& first : {name + " is ", name + " "}) {
        if (reason.starts_with(first)) {
            return reason.substr(first.size());
        }
    }
    return reason;
}

// Describes the result of a successful step: "phone-7f3a" (WPA2) 192.168.43.17
std::string ResultText(const OnlineStep& step)
{
    std::string text = step.ssid.empty() ? "" : "\"" + step.ssid + "\"";
    text += step.security.empty() ? "" : " (" + step.security + ")";
    return text + (step.address.empty() ? "" : (text.empty() ? "" : " ") + step.address);
}

// Wraps a text into lines. first: the beginning of the first line; must be as wide as the indentation. column: the
// indentation of the other lines.
std::vector<std::string> WrapWithPrefix(const std::string& first, size_t column, const std::string& text)
{
    std::vector<std::string> lines;
    for (const std::string& piece : Wrap(text, COLUMNS - column)) {
        lines.push_back((lines.empty() ? first : std::string(column, ' ')) + piece);
    }
    return lines.empty() ? std::vector<std::string>{first} : lines;
}

// Converts an attempt to JSON. Leaves out the member "revision", which is only needed to wait for changes.
Json AttemptDetails(const Host::OnlineAnswer& attempt)
{
    Json details = Host::ToJson(attempt);
    cJSON_DeleteItemFromObjectCaseSensitive(details.get(), "revision");
    return details;
}

std::string Sentence(const std::string& text)
{
    return text.empty() || text.ends_with('.') ? text : text + ".";
}

// Returns the advice for the devices that failed, one line per device. If a device failed several times, uses its last
// advice. If several devices have the same advice, this advice has only one line.
std::string AdviceOfEach(const Host::OnlineAnswer& attempt)
{
    std::vector<std::pair<std::string, std::string>> advices;  // pairs of the network id and the advice
    for (const OnlineStep& step : attempt.steps) {
        if (!step.fault || step.fault->advice.empty()) {
            continue;
        }
        const auto sameDevice = std::find_if(advices.begin(), advices.end(),
                                             [&](const auto& advice) { return advice.first == step.networkId; });
        if (sameDevice == advices.end()) {
            advices.emplace_back(step.networkId, step.fault->advice);
        } else {
            sameDevice->second = step.fault->advice;
        }
    }
    std::string lines;
    for (const auto& advice : advices) {
        const bool isNew = lines.find(advice.second) == std::string::npos;
        lines += isNew ? (lines.empty() ? "" : "\n") + Sentence(advice.second) : "";
    }
    return lines;
}

Outcome Failed(const Host::OnlineAnswer& attempt, bool isForOne)
{
    const Host::OnlineFault fault = attempt.fault.value_or(Host::OnlineFault{});
    Outcome outcome = FromFault(fault);
    const bool concernsDevices = !fault.networkId.empty() && fault.code != OnlineFaultCode::TIMED_OUT;
    if (!isForOne && concernsDevices) {
        outcome.message = "none of your devices could get this device online";
        const std::string advice = AdviceOfEach(attempt);
        outcome.advice = advice.empty() ? outcome.advice : advice;
    }
    if (attempt.fault && !attempt.networkId.empty()) {
        outcome.advice = Sentence(outcome.advice) + (outcome.advice.empty() ? "" : "\n") +
                         std::string("This device stays on its Wi-Fi; `distnetctl down` leaves it.");
    }
    if (attempt.undoneChanges && !attempt.undoneChanges->deviceName.empty()) {
        outcome.message += "; " + UndoneText(*attempt.undoneChanges);
    }
    return outcome;
}

}  // namespace

std::vector<std::string> StepLines(const OnlineStep& received, bool isFirst, const StepStyle& style)
{
    const OnlineStep step = Printable(received);
    const bool isDone = step.state == Host::OnlineStepState::DONE;
    const std::string begin =
        Column(isFirst ? NameText(step) : "", NAME_WIDTH) + "  " + (isDone ? style.tick : style.cross) + " ";
    const std::string duration = DurationText(static_cast<double>(step.took.count()));
    if (isDone) {
        const std::string padded = std::string(DURATION_WIDTH - std::min(duration.size(), DURATION_WIDTH), ' ');
        const std::string first = begin + Column(DoneLabel(step), LABEL_WIDTH) + padded + duration;
        const std::string result = ResultText(step);
        return result.empty() ? std::vector<std::string>{first} : WrapWithPrefix(first + "  ", RESULT_COLUMN, result);
    }
    const std::string label = FailedLabel(step.kind);
    if (!style.givesReasons) {
        return {begin + ShortFailure(step) + " after " + duration};
    }
    const std::string reason = step.fault ? step.fault->message : "failed";
    return label.empty()
               ? WrapWithPrefix(begin, TEXT_COLUMN, isFirst ? WithoutName(reason, step.deviceName) : reason)
               : WrapWithPrefix(begin + Column(label, FAILED_LABEL_WIDTH), TEXT_COLUMN + FAILED_LABEL_WIDTH, reason);
}

std::string WaitText(const OnlineStep& step)
{
    const std::string name = NameText(step);
    switch (step.kind) {
        case OnlineStepKind::FIND:
            return "looking for " + name;
        case OnlineStepKind::HOTSPOT:
            return "waiting for " + name + "'s hotspot";
        case OnlineStepKind::WIFI:
            return "joining " + name + "'s Wi-Fi";
        case OnlineStepKind::ONLINE:
            break;
    }
    return "checking whether " + name + " leads to the internet";
}

std::string OnlineText(const Host::OnlineAnswer& received)
{
    const Host::OnlineAnswer attempt = Printable(received);
    const std::string use = attempt.facts ? UseText(*attempt.facts) : "";
    return Wrapped("You are online through " + attempt.deviceName + (use.empty() ? "" : " (" + use + ")") +
                   ". `distnetctl down` ends it.");
}

std::string UndoneText(const Host::UndoneChanges& received)
{
    const Host::UndoneChanges back = Printable(received);
    std::string text = !back.backOn.empty() ? "this device is back on \"" + back.backOn + "\""
                       : back.hasLeftWifi   ? "this device has left the Wi-Fi"
                                            : "";
    if (back.deviceName.empty()) {
        return text.empty() ? "nothing had to be undone" : text;
    }
    text += text.empty() ? "" : "; ";
    return text + back.deviceName +
           (!back.wasNotified       ? " could not be notified, and closes its hotspot when no device uses it"
            : back.hasClosedHotspot ? " closed its hotspot"
                                    : " left its hotspot as it was");
}

Outcome FromFault(const Host::OnlineFault& fault)
{
    const bool isTimedOut = fault.code == OnlineFaultCode::TIMED_OUT;
    const bool isCancelled = fault.code == OnlineFaultCode::CANCELLED;
    Json details = NewObject();
    AddMember(details.get(), "fault", Host::ToJson(fault));
    return {isTimedOut    ? EXIT_TIMED_OUT
            : isCancelled ? EXIT_INTERRUPTED
                          : EXIT_FAILED,
            isTimedOut    ? CODE_TIMED_OUT
            : isCancelled ? CODE_INTERRUPTED
                          : CODE_NOT_DONE,
            UpperCase(NameOf(fault.code)),
            fault.message.empty() ? "this device is not online" : EscapeHidden(fault.message),
            EscapeHidden(fault.advice),
            std::move(details)};
}

Outcome FromAttempt(const Host::OnlineAnswer& attempt, bool isForOne)
{
    if (attempt.phase == OnlinePhase::CANCELLED) {
        Outcome outcome =
            FromFault(attempt.fault.value_or(Host::OnlineFault{OnlineFaultCode::CANCELLED, "", "", "", ""}));
        outcome.message += "; " + UndoneText(attempt.undoneChanges.value_or(Host::UndoneChanges{}));
        outcome.details = AttemptDetails(attempt);
        return outcome;
    }
    Outcome outcome =
        attempt.phase == OnlinePhase::ONLINE ? Done(OnlineText(attempt)) : Failed(Printable(attempt), isForOne);
    outcome.details = AttemptDetails(attempt);
    return outcome;
}

Outcome FromCancelled(const Host::OnlineAnswer& attempt)
{
    const std::string said = attempt.phase == OnlinePhase::ONLINE
                                 ? "it was too late to cancel: you are online through " +
                                       EscapeHidden(attempt.deviceName) + "; `distnetctl down` ends it"
                                 : "cancelled: " + UndoneText(attempt.undoneChanges.value_or(Host::UndoneChanges{}));
    const bool isStillUsed = attempt.phase == OnlinePhase::CANCELLED && !attempt.networkId.empty();
    return {EXIT_INTERRUPTED,
            CODE_INTERRUPTED,
            "CANCELLED",
            said + (isStillUsed ? "; this device stays online through " + EscapeHidden(attempt.deviceName) : ""),
            "",
            AttemptDetails(attempt)};
}

Outcome FromTimedOut(const Host::OnlineAnswer& attempt, const std::string& why)
{
    return {EXIT_TIMED_OUT,
            CODE_TIMED_OUT,
            "TIMED_OUT",
            why + "; " + UndoneText(attempt.undoneChanges.value_or(Host::UndoneChanges{})),
            "Allow more with --timeout SECONDS, or leave it out.",
            AttemptDetails(attempt)};
}

Outcome FromDown(const Host::DownAnswer& received)
{
    const Host::DownAnswer down = Printable(received);
    Outcome outcome = down.fault ? FromFault(*down.fault) : Done("");
    outcome.details = Host::ToJson(received);
    if (down.fault) {
        return outcome;
    }
    const Host::UndoneChanges& back = down.undoneChanges;
    if (down.result == Host::DownResult::NOT_JOINED) {
        outcome.message = "This device is on no hotspot of another device; nothing to leave.";
    } else if (!back.hasLeftWifi) {
        outcome.message = Wrapped("The attempt is over; " + UndoneText(back) + ".");
    } else {
        std::string text = "You are off " + (back.deviceName.empty() ? "the" : back.deviceName + "'s") + " hotspot" +
                           (back.backOn.empty() ? "" : " and back on \"" + back.backOn + "\"") + ".";
        Host::UndoneChanges there;  // what was undone on the other device
        there.deviceName = back.deviceName;
        there.wasNotified = back.wasNotified;
        there.hasClosedHotspot = back.hasClosedHotspot;
        text += back.deviceName.empty() ? "" : " " + UndoneText(there) + ".";
        outcome.message = Wrapped(text);
    }
    return outcome;
}

std::string AutoText(const Host::AutoStatus& status, WallTime now)
{
    const std::string until = status.until ? " until " + MomentText(*status.until, now) : "";
    switch (status.state) {
        case Host::AutoState::OFF:
            break;
        case Host::AutoState::WATCHING:
            return "on: it acts when this device has had no network for a while";
        case Host::AutoState::WAITING:
            return "on: this device has no network; it will try soon";
        case Host::AutoState::TRYING:
            return "on: it is getting this device online";
        case Host::AutoState::ONLINE:
            return "on: it got this device online";
        case Host::AutoState::SUSPENDED:
            return "on, but suspended" + (until.empty() ? "" : until + " or") + " until a network of your own was back";
        case Host::AutoState::EXHAUSTED:
            return "on, but it has made all tries of this hour; it waits" + until;
    }
    return status.isOn ? "on" : "off";
}

}  // namespace Vexo::Ctl
