#include "tools/distnetctl/account_view.h"

#include <algorithm>
#include <array>
#include <cctype>

#include "interfaces/account_answers_json.h"
#include "platform/base/text.h"
#include "tools/distnetctl/printable.h"
#include "tools/distnetctl/time_word.h"

namespace Vexo::Ctl {

std::string UpperCase(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::toupper(letter)); });
    return text;
}

namespace {

constexpr size_t MAX_NAME_WIDTH = 20;

std::string ReachedText(const Host::AccountMember& member)
{
    if (member.isThisDevice) {
        return "this device";
    }
    if (!member.lastReached) {
        return "never";
    }
    Peer peer;
    peer.online = member.online;
    peer.lastSeen = *member.lastReached;
    return LastSeenText(peer);
}

std::string NoteText(const Host::AccountMember& member)
{
    return member.holdsKey ? "holds the key" : member.pending ? "pending" : "";
}

std::string MemberLine(size_t nameWidth, const std::array<std::string, 6>& texts)
{
    std::string line = Column(texts[0], nameWidth) + "  " + Column(texts[1], 7) + " " + Column(texts[2], 11) + "  " +
                       Column(texts[3], 10) + "  " + Column(texts[4], 11) + "  " + texts[5];
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
}

}  // namespace

Outcome FromFault(const Host::AccountFault& fault)
{
    Json details = NewObject();
    AddText(details.get(), "fault", NameOf(fault.code));
    if (!fault.suggestion.empty()) {
        AddText(details.get(), "suggestion", fault.suggestion);
    }
    return {EXIT_FAILED,
            CODE_NOT_DONE,
            UpperCase(NameOf(fault.code)),
            EscapeHidden(fault.message),
            EscapeHidden(fault.advice),
            std::move(details)};
}

Outcome FromAccountCall(const Client::CallResult& call)
{
    Outcome outcome = FromCall(call);
    if (call.status == Client::CallStatus::REFUSED) {
        outcome.message =
            "this user may not change the account: that takes root, or a password where the machine asks "
            "for one";
        outcome.advice = "Use sudo.";
    }
    return outcome;
}

std::optional<Outcome> WhyRemoved(Client::DistNetClient& client)
{
    Host::HostStatus status;
    if (!client.GetStatus(status).Succeeded() || !status.membership.removedAt) {
        return std::nullopt;
    }
    return FromFault({Host::AccountFaultCode::WAS_REMOVED,
                      "this device was removed from the account \"" + status.account.value_or("") + "\" on " +
                          DayText(*status.membership.removedAt),
                      "To use it again: `distnetctl account leave`, then join with a new ticket.", ""});
}

std::string NumberText(const std::string& number)
{
    constexpr size_t HALF = 3;
    return number.size() == 2 * HALF ? number.substr(0, HALF) + " " + number.substr(HALF) : number;
}

std::string DayText(std::chrono::sys_seconds time)
{
    return LocalText(time, "%Y-%m-%d");
}

std::string WhoText(const std::string& name, Host::DeviceType type, const std::string& networkId)
{
    return name + " (" + (type == Host::DeviceType::UNKNOWN ? "" : std::string(NameOf(type)) + ", ") +
           ShortId(networkId) + ")";
}

std::vector<std::string> MemberTable(const Host::MemberList& list)
{
    size_t nameWidth = std::string_view("NAME").size();
    for (const Host::AccountMember& member : list.members) {
        nameWidth = std::max(nameWidth, TextWidth(member.name));
    }
    nameWidth = std::min(nameWidth, MAX_NAME_WIDTH);
    std::vector<std::string> lines{MemberLine(nameWidth, {"NAME", "TYPE", "FINGERPRINT", "SINCE", "REACHED", ""})};
    for (const Host::AccountMember& member : list.members) {
        lines.push_back(MemberLine(
            nameWidth, {member.name, NameOf(member.type), ShortId(member.networkId),
                        member.since ? DayText(*member.since) : "–", ReachedText(member), NoteText(member)}));
    }
    for (const Host::RemovedMember& removed : list.removed) {
        lines.push_back("removed on " + DayText(removed.at) + ": " + removed.name + " (" + ShortId(removed.networkId) +
                        ")");
    }
    return lines;
}

std::optional<Host::AccountMember> FindMember(const Host::MemberList& list, const std::string& word, Outcome& failure)
{
    std::vector<Peer> peers;
    for (const Host::AccountMember& member : list.members) {
        Peer peer;
        peer.name = member.name;
        peer.networkId = member.networkId;
        peers.push_back(std::move(peer));
    }
    const Result<Peer> found = ResolvePeer(word, peers);
    const auto member = std::find_if(
        list.members.begin(), list.members.end(),
        [&](const Host::AccountMember& candidate) { return found && candidate.networkId == found.value().networkId; });
    if (member != list.members.end()) {
        return *member;
    }
    failure = UsageError(found ? "no member has the id " + ShortId(word) : found.error().message,
                         "`distnetctl account devices` lists the members.");
    return std::nullopt;
}

}  // namespace Vexo::Ctl
