#include "tools/distnetctl/share_view.h"

#include <utility>

#include "interfaces/sharing_answers_json.h"
#include "platform/base/text.h"
#include "tools/distnetctl/account_view.h"
#include "tools/distnetctl/facts_view.h"
#include "tools/distnetctl/online_view.h"
#include "tools/distnetctl/terminal.h"

namespace Vexo::Ctl {

namespace {

std::string UserText(const Host::ShareUser& user, WallTime now)
{
    return (user.deviceName.empty() ? "a device outside the account (" + user.macAddress + ")" : user.deviceName) +
           ", since " + MomentText(user.since, now) + ", " + BytesText(user.bytes) +
           (user.isConnected ? "" : ", not connected now");
}

std::string MonthText(const Host::ShareStatus& status)
{
    return status.monthLimitBytes ? BytesOfText(status.monthBytes, *status.monthLimitBytes)
                                  : BytesText(status.monthBytes);
}

// Formats a duration of at most 1 h, such as "1 min" or "1 h". If it is not a whole number of minutes, uses seconds.
std::string LimitText(std::chrono::milliseconds limit)
{
    const auto seconds = std::chrono::ceil<std::chrono::seconds>(limit);
    return seconds % std::chrono::minutes(1) == std::chrono::seconds(0) ? RoughDuration(seconds)
                                                                        : std::to_string(seconds.count()) + " s";
}

std::string ClosesText(const Host::ShareStatus& status)
{
    if (!status.isOpenedHere) {
        return "";
    }
    const char* who = status.users.size() > 1 ? "the last one leaves" : "it leaves";
    return status.closesAfter.count() == 0 ? std::string("; closes when ") + who
                                           : "; closes " + LimitText(status.closesAfter) + " after " + who;
}

void Add(std::vector<StatusLine>& lines, const std::string& label, const std::string& text)
{
    for (StatusLine& line : WrappedLines(label, text)) {
        lines.push_back(std::move(line));
    }
}

void AddUsers(std::vector<StatusLine>& lines, const Host::ShareStatus& status, WallTime now)
{
    if (status.users.empty()) {
        return;
    }
    const std::string rest = MonthText(status) + " this month";
    if (status.users.size() == 1) {
        Add(lines, "share", UserText(status.users[0], now) + " (" + rest + ")" + ClosesText(status));
        return;
    }
    std::string label = "share";
    for (const Host::ShareUser& user : status.users) {
        Add(lines, std::exchange(label, ""), UserText(user, now));
    }
    Add(lines, "", rest + ClosesText(status));
}

std::string AllowText(Host::ShareAllow allow)
{
    switch (allow) {
        case Host::ShareAllow::ACCOUNT:
            return "every device of the account";
        case Host::ShareAllow::ASK:
            return "you are asked about each device";
        case Host::ShareAllow::NOBODY:
            return "nobody";
        case Host::ShareAllow::DEVICES:
            break;
    }
    return "only devices that you have allowed";
}

std::string RuleText(const Host::ShareRule& rule, WallTime now)
{
    return (rule.deviceName.empty() ? ShortId(rule.networkId) : rule.deviceName) + ": " + NameOf(rule.decision) +
           (rule.until ? ", until " + MomentText(*rule.until, now) : "");
}

}  // namespace

std::vector<StatusLine> ShareLines(const Host::ShareStatus& status, WallTime now)
{
    std::vector<StatusLine> lines;
    AddUsers(lines, status, now);
    for (const Host::ShareRequest& request : status.requests) {
        Add(lines, "asks", request.deviceName + ": see `distnetctl share requests`");
    }
    return lines;
}

std::vector<StatusLine> OnlineLines(const Host::OnlineStatus& status, WallTime now)
{
    std::vector<StatusLine> lines;
    if (status.attempt.phase == Host::OnlinePhase::ONLINE) {
        Add(lines, "online",
            "through " + status.attempt.deviceName + (status.since ? ", since " + MomentText(*status.since, now) : "") +
                (status.hasLease ? "" : "; that device does not know that this one uses its network"));
    }
    if (status.automatic.isOn) {
        Add(lines, "auto", AutoText(status.automatic, now));
    }
    return lines;
}

std::vector<StatusLine> ShareStatusLines(const Host::ShareStatus& status, WallTime now)
{
    std::vector<StatusLine> lines;
    Add(lines, "allowed", AllowText(status.allow));
    AddUsers(lines, status, now);
    if (status.users.empty()) {
        lines.push_back({"share", status.isOn ? "the hotspot is open, and nobody uses it" : "closed"});
    }
    lines.push_back({"this month", MonthText(status) + " since " + DayText(status.monthBegan) +
                                       (status.monthLimitBytes ? "" : "; no limit")});
    lines.push_back({"battery", status.batteryFloorPercent == 0
                                    ? "no floor"
                                    : "shared above " + std::to_string(status.batteryFloorPercent) + " %"});
    for (const Host::ShareRequest& request : status.requests) {
        Add(lines, "asks", request.deviceName + ", since " + MomentText(request.at, now));
    }
    std::string label = "rules";
    for (const Host::ShareRule& rule : status.rules) {
        Add(lines, std::exchange(label, ""), RuleText(rule, now));
    }
    return lines;
}

std::vector<std::string> RequestLines(const Host::ShareRequest& request)
{
    return {request.deviceName + " asks to use this device's network.",
            "  distnetctl share allow " + ShellWord(request.deviceName) + " [--once|--today|--always]",
            "  distnetctl share deny " + ShellWord(request.deviceName) + " [--never]"};
}

std::string DecisionText(const std::string& name, Host::ShareDecision decision)
{
    switch (decision) {
        case Host::ShareDecision::ONCE:
            return name + " may use this device's network once, if it begins within 10 minutes.";
        case Host::ShareDecision::TODAY:
            return name + " may use this device's network until midnight.";
        case Host::ShareDecision::ALWAYS:
            return name + " may use this device's network. `distnetctl share deny " + ShellWord(name) +
                   " --never` ends that.";
        case Host::ShareDecision::NEVER:
            return name + " may not use this device's network. `distnetctl share allow " + ShellWord(name) +
                   "` changes that.";
        case Host::ShareDecision::DENY:
            break;
    }
    return name + " is refused; you are not asked about it for 10 minutes.";
}

}  // namespace Vexo::Ctl
