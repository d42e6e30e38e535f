// Formats the account for a person: its members, its numbers and its failures. Stateless functions; any thread. Only
// WhyRemoved blocks, because it waits for an answer of the daemon.
#pragma once

#include <string>
#include <vector>

#include "interfaces/account_answers.h"
#include "tools/distnetctl/commands.h"
#include "tools/distnetctl/output.h"
#include "tools/distnetctl/peers.h"

namespace Vexo::Ctl {

// FromFault converts a fault that the daemon reports about an account operation to the outcome of the command.
// FromAccountCall converts a failed call to the daemon to the outcome of the command.
Outcome FromFault(const Host::AccountFault& fault);
Outcome FromAccountCall(const Client::CallResult& call);

// If this device was removed from its account, returns the outcome with which the command must end. Returns no value if
// the device was not removed, or if the daemon does not answer.
std::optional<Outcome> WhyRemoved(Client::DistNetClient& client);

// Converts ASCII letters to upper case. Used for the names of faults in JSON, such as "NAME_TAKEN".
std::string UpperCase(std::string text);
// Adds a space in the middle of a number with six digits. The result is text such as "482 915".
std::string NumberText(const std::string& number);
// Returns the date in local time, such as "2026-11-21".
std::string DayText(std::chrono::sys_seconds time);
// Returns a text for a member, or for a device that asks to join: "phone (phone, 7f3ac…c21e)". The parts are the name,
// the type and the short network id. All arguments must be printable (printable.h).
std::string WhoText(const std::string& name, Host::DeviceType type, const std::string& networkId);

// Returns the lines of the table of members, followed by lines for the removed members. list: its texts must be
// printable (printable.h).
std::vector<std::string> MemberTable(const Host::MemberList& list);

// Finds a member by name or network id. word: what the user typed; the rules of ResolvePeer (peers.h) apply. If no
// single member matches, returns no value, and the parameter failure receives the outcome with which the command must
// end.
std::optional<Host::AccountMember> FindMember(const Host::MemberList& list, const std::string& word, Outcome& failure);

}  // namespace Vexo::Ctl
