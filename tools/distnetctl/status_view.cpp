#include "tools/distnetctl/status_view.h"

#include "interfaces/named_values.h"
#include "platform/base/text.h"
#include "tools/distnetctl/account_view.h"
#include "tools/distnetctl/output.h"

namespace Vexo::Ctl {

namespace {

constexpr size_t LABEL_WIDTH = 12;
constexpr size_t TEXT_WIDTH = COLUMNS - LABEL_WIDTH;

std::string AbilityNames(const std::vector<Host::AbilityStatus>& abilities)
{
    std::string names;
    for (const Host::AbilityStatus& ability : abilities) {
        names += (names.empty() ? "" : ", ") + ability.name;
    }
    return names;
}

std::string ServiceText(Host::ServiceLife service)
{
    switch (service) {
        case Host::ServiceLife::IDLE:
            return "idle: no program uses it; it still serves peers";
        case Host::ServiceLife::NOT_LOADED:
            return "not loaded: it starts when a program or a peer asks";
        case Host::ServiceLife::RUNNING:
            break;
    }
    return NameOf(service);
}

std::string Counted(uint64_t number, const std::string& one, const std::string& many)
{
    return std::to_string(number) + " " + (number == 1 ? one : many);
}

}  // namespace

std::string WifiText(const Host::WifiStatus& wifi)
{
    if (!wifi.present) {
        return "not present";
    }
    std::string text = NameOf(wifi.state);
    if (!wifi.ssid.empty()) {
        text += " \"" + wifi.ssid + "\"";
    }
    if (!wifi.address.empty()) {
        text += ", " + wifi.address;
    }
    if (!wifi.reason.empty()) {
        text += ": " + wifi.reason;
    }
    return text;
}

std::string HotspotText(const Host::HotspotStatus& hotspot)
{
    if (!hotspot.present) {
        return "not present";
    }
    return !hotspot.active ? "not known: the radio does not say" : *hotspot.active ? "open" : "closed";
}

namespace {

std::string AccountText(const Host::HostStatus& status)
{
    if (!status.account) {
        return "none: see `distnetctl account --help`";
    }
    const Host::MembershipStatus& membership = status.membership;
    std::string text = "\"" + *status.account + "\"";
    if (membership.removedAt) {
        return text + ": removed from it on " + DayText(*membership.removedAt);
    }
    if (membership.members > 0) {
        text += ", " + Counted(membership.members, "member", "members");
        text += membership.pending > 0 ? " (" + std::to_string(membership.pending) + " not met yet)" : "";
    }
    return text + (membership.holdsKey         ? "; this device holds its key"
                   : membership.holder.empty() ? ""
                                               : "; " + membership.holder + " holds its key");
}

// Adds lines that say what the user should do about the account. Adds none if nothing needs to be done.
void AddAccountAdvice(const Host::HostStatus& status, std::vector<StatusLine>& lines)
{
    const Host::MembershipStatus& membership = status.membership;
    if (!status.account) {
        return;
    }
    if (membership.removedAt) {
        lines.push_back({"", "to use it again: distnetctl account leave, then join with a ticket"});
        return;
    }
    if (membership.holdsKey && !membership.backup) {
        lines.push_back({"", "its key has no backup: distnetctl account backup FILE"});
    }
    if (membership.endsSoon) {
        lines.push_back({"", "its certificates end on " + DayText(*membership.endsSoon) +
                                 (membership.holdsKey ? ": distnetctl account renew" : "; the holder can renew them")});
    }
}

}  // namespace

std::vector<StatusLine> StatusLines(const Host::HostStatus& status, const Host::HostCounts& counts)
{
    const Host::ThisDevice& device = status.device;
    std::vector<StatusLine> lines{
        {"device", "\"" + device.name + "\", " + NameOf(device.type) + ", " + ShortId(device.networkId)},
        {"account", AccountText(status)},
    };
    AddAccountAdvice(status, lines);
    lines.push_back({"daemon", "distnetd " + status.version + ", " + status.platform + ", up " +
                                   RoughDuration(std::chrono::floor<std::chrono::seconds>(status.uptime))});
    lines.push_back({"service", ServiceText(status.service)});
    for (StatusLine& line : WrappedLines("abilities", AbilityNames(status.abilities))) {
        lines.push_back(std::move(line));
    }
    if (status.link.listen) {
        lines.push_back({"link", "listening on " + *status.link.listen});
    }
    lines.push_back({"Wi-Fi", WifiText(status.wifi)});
    lines.push_back({"hotspot", HotspotText(status.hotspot)});
    lines.push_back({"open", Counted(counts.sessions, "session", "sessions") + ", " +
                                 Counted(counts.Pending(), "pending", "pending") + ", " +
                                 Counted(counts.threads, "thread", "threads") + ", " +
                                 Counted(counts.descriptors, "descriptor", "descriptors") + ", " +
                                 Counted(counts.ipcConnections, "client", "clients")});
    return lines;
}

std::vector<StatusLine> WrappedLines(const std::string& label, const std::string& text)
{
    std::vector<StatusLine> lines;
    for (std::string& piece : Wrap(text, TEXT_WIDTH)) {
        lines.push_back({lines.empty() ? label : "", std::move(piece)});
    }
    return lines;
}

std::string Labelled(const StatusLine& line)
{
    return Column(line.label, LABEL_WIDTH) + line.text;
}

}  // namespace Vexo::Ctl
