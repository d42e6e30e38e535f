// Formats the account for a person: members, numbers and failures. Stateless functions; any thread. Only WhyRemoved
// blocks: it waits for the daemon's answer.
#pragma once

#include <string>
#include <vector>

#include "interfaces/account_answers.h"
#include "tools/distnetctl/commands.h"
#include "tools/distnetctl/output.h"
#include "tools/distnetctl/peers.h"

namespace Vexo::Ctl {

// FromFault returns the outcome for a fault that the daemon reports about an account operation, FromAccountCall the
// outcome for a failed call.
Outcome FromFault(const Host::AccountFault& fault);
Outcome FromAccountCall(const Client::CallResult& call);

// Returns the outcome to finish with if this device was removed from its account. Returns no value if it was not
// removed or if the daemon does not answer.
std::optional<Outcome> WhyRemoved(Client::DistNetClient& client);

// Converts ASCII letters to upper case, for the names of faults in JSON: "NAME_TAKEN".
std::string UpperCase(std::string text);
// Adds a space in the middle of a number of six digits: "482 915".
std::string NumberText(const std::string& number);
// The day in local time: "2026-11-21".
std::string DayText(std::chrono::sys_seconds time);
// Names a member or a device that asks to join: "phone (phone, 7f3ac…c21e)". The texts must be printable (printable.h).
std::string WhoText(const std::string& name, Host::DeviceType type, const std::string& networkId);

// The lines of the table of members, followed by the removed members. list must be printable.
std::vector<std::string> MemberTable(const Host::MemberList& list);

// Finds the member that word names, by the rules of ResolvePeer (peers.h). Returns no value on failure; failure is then
// the outcome to finish with.
std::optional<Host::AccountMember> FindMember(const Host::MemberList& list, const std::string& word, Outcome& failure);

}  // namespace Vexo::Ctl
