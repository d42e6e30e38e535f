// The commands that show or change the account's members: `account devices`, `rename`, `remove`, `transfer`, `leave`,
// `renew`.
#include <functional>

#include "interfaces/account_answers_json.h"
#include "platform/base/utf8.h"
#include "tools/distnetctl/account_view.h"
#include "tools/distnetctl/commands.h"
#include "tools/distnetctl/interrupt.h"
#include "tools/distnetctl/printable.h"
#include "tools/distnetctl/questions.h"

namespace Vexo::Ctl {

namespace {

using Client::DistNetClient;

// Reads the list of members from the daemon, and makes the texts of the list printable (printable.h). If reading fails,
// returns no value, and the parameter failure receives the outcome with which the command must end.
std::optional<Host::MemberList> ReadMembers(DistNetClient& client, Outcome& failure)
{
    Host::MemberList list;
    if (const Client::CallResult call = client.GetMembers(list); !call.Succeeded()) {
        failure = FromCall(call);
        return std::nullopt;
    }
    if (list.fault) {
        failure = FromFault(*list.fault);
        return std::nullopt;
    }
    return Printable(std::move(list));
}

// Returns the outcome of an operation on the account. done: the outcome to return if the operation succeeded.
Outcome Changed(const Client::CallResult& call, const Host::ChangeAnswer& answer, Outcome done)
{
    return !call.Succeeded() ? FromAccountCall(call) : answer.fault ? FromFault(*answer.fault) : std::move(done);
}

Outcome NotConfirmed()
{
    return NotDone("nothing was changed", "");
}

Json MemberDetails(const Host::AccountMember& member)
{
    Json details = NewObject();
    AddText(details.get(), "device_name", member.name);
    AddText(details.get(), "network_id", member.networkId);
    return details;
}

// Finds a member by name or network id, and calls the given function with the list of members and this member. word:
// what the user typed.
int WithMember(const GlobalOptions& options, Output& output, const std::string& word,
               const std::function<Outcome(DistNetClient& client, const Host::MemberList& list,
                                           const Host::AccountMember& member)>& work)
{
    return WithClient(options, output, [&](DistNetClient& client) {
        Outcome failure;
        const auto list = ReadMembers(client, failure);
        const auto member = list ? FindMember(*list, word, failure) : std::nullopt;
        return member ? work(client, *list, *member) : std::move(failure);
    });
}

std::string RemovalQuestion(const Host::MemberList& list, const Host::AccountMember& member, bool announcesNewKeyOnly)
{
    const size_t others = list.members.size() - 2;  // all members except this device and the removed device
    const std::string atContact = others == 0   ? ""
                                  : others == 1 ? ", by the other one at its next contact"
                                                : ", by the other " + std::to_string(others) + " at their next contact";
    std::string text = WhoText(member.name, member.type, member.networkId) + " will be refused by every device of \"" +
                       list.account + "\" that learns of it: now by this one" + atContact +
                       ". The account's link key changes, and the key of every hotspot that DistNet makes.";
    if (announcesNewKeyOnly && others > 0) {
        text +=
            " From now on this device announces itself with the new key only: a member that has not learned of it "
            "finds this device at known addresses only.";
    }
    return Wrapped(text) + "\nRemove it?";
}

}  // namespace

int RunAccountDevices(const GlobalOptions& options, Output& output)
{
    return WithClient(options, output, [&](DistNetClient& client) {
        if (auto removed = WhyRemoved(client)) {
            return *std::move(removed);
        }
        Outcome failure;
        const std::optional<Host::MemberList> list = ReadMembers(client, failure);
        if (!list) {
            return failure;
        }
        for (const std::string& line : MemberTable(*list)) {
            output.Line(line);
        }
        Json details = NewObject();
        AddText(details.get(), "account", list->account);
        AddMember(details.get(), "members", Host::ToJson(list->members));
        AddMember(details.get(), "removed", Host::ToJson(list->removed));
        return Done(output.IsJson() ? "the members of the account" : "", std::move(details));
    });
}

int RunAccountRename(const GlobalOptions& options, Output& output, const std::string& word, const std::string& name)
{
    return WithMember(
        options, output, word, [&](DistNetClient& client, const Host::MemberList&, const Host::AccountMember& member) {
            Host::ChangeAnswer answer;
            const Client::CallResult call = client.RenameMember(member.networkId, name, answer);
            return Changed(call, answer,
                           Done(Wrapped(output.Tick() + " " + member.name + " is called \"" + EscapeHidden(name) +
                                        "\" now; the other devices learn of it at their next contact."),
                                MemberDetails(member)));
        });
}

int RunAccountRemove(const GlobalOptions& options, Output& output, const std::string& word, bool yes,
                     bool announcesNewKeyOnly)
{
    return WithMember(
        options, output, word,
        [&](DistNetClient& client, const Host::MemberList& list, const Host::AccountMember& member) {
            if (!yes && !member.isThisDevice && !Confirm(output, RemovalQuestion(list, member, announcesNewKeyOnly))) {
                return NotConfirmed();
            }
            Host::ChangeAnswer answer;
            const Client::CallResult call = client.RemoveMember(member.networkId, announcesNewKeyOnly, answer);
            return Changed(call, answer,
                           Done(output.Tick() + " " + member.name + " is no longer a member.", MemberDetails(member)));
        });
}

int RunAccountTransfer(const GlobalOptions& options, Output& output, const std::string& word, bool yes)
{
    return WithMember(
        options, output, word,
        [&](DistNetClient& client, const Host::MemberList& list, const Host::AccountMember& member) {
            const std::string question = WhoText(member.name, member.type, member.networkId) +
                                         " will hold the key of \"" + list.account +
                                         "\" instead of this device: only there can devices be admitted and removed.";
            if (!yes && !member.isThisDevice && !Confirm(output, Wrapped(question) + "\nTransfer the key?")) {
                return NotConfirmed();
            }
            Host::ChangeAnswer answer;
            const Client::CallResult call = client.TransferAccount(member.networkId, answer);
            return Changed(
                call, answer,
                Done(Wrapped(output.Tick() + " " + member.name + " holds the account's key now. Back it up " +
                             "there: distnetctl account backup FILE"),
                     MemberDetails(member)));
        });
}

int RunAccountLeave(const GlobalOptions& options, Output& output, bool yes)
{
    return WithClient(options, output, [&](DistNetClient& client) {
        Host::HostStatus status;
        if (const Client::CallResult call = client.GetStatus(status); !call.Succeeded()) {
            return FromCall(call);
        }
        const std::string account = EscapeHidden(status.account.value_or(""));
        const Host::MembershipStatus& membership = status.membership;
        std::string question = "This device forgets the account \"" + account +
                               "\" and its own key. It comes back only with a new ticket.";
        if (!status.account) {
            question = "This device is in no account. It gets a new key.";
        } else if (membership.holdsKey && !membership.removedAt) {
            question += membership.backup
                            ? " It holds the account's key, of which there is a backup."
                            : " It holds the account's key, of which there is no backup: the account is lost.";
        }
        if (!yes && !Confirm(output, Wrapped(question) + "\nLeave?")) {
            return NotConfirmed();
        }
        Host::ChangeAnswer answer;
        const Client::CallResult call = client.LeaveAccount(answer);
        return Changed(call, answer,
                       Done(output.Tick() + (status.account ? " This device has left \"" + account + "\"."
                                                            : " This device has a new key.")));
    });
}

int RunAccountRenew(const GlobalOptions& options, Output& output)
{
    return WithClient(options, output, [&](DistNetClient& client) {
        Host::ChangeAnswer answer;
        const Client::CallResult call = client.RenewAccount(answer);
        return Changed(call, answer,
                       Done(output.Tick() + " The certificates of the account and of its devices are renewed.\n"
                                            "Each device fetches its own at its next contact with this one."));
    });
}

}  // namespace Vexo::Ctl
