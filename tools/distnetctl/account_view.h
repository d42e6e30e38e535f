// The account as a person sees it: members, numbers and what went wrong. Functions without state; any thread.
#pragma once

#include <string>
#include <vector>

#include "interfaces/account_answers.h"
#include "tools/distnetctl/commands.h"
#include "tools/distnetctl/output.h"
#include "tools/distnetctl/peers.h"

namespace Vexo::Ctl {

// The outcome for an account operation that the daemon could not do, and for a call that did not succeed.
Outcome FromFault(const Host::AccountFault& fault);
Outcome FromAccountCall(const Client::CallResult& call);

// The outcome for a device that its account has removed; nothing for any other, or when the daemon does not say.
std::optional<Outcome> WhyRemoved(Client::DistNetClient& client);

// For the names of faults in JSON: "NAME_TAKEN". ASCII only.
std::string UpperCase(std::string text);
// "482 915"
std::string NumberText(const std::string& number);
// "2026-11-21", in local time.
std::string DayText(std::chrono::sys_seconds time);
// "phone (phone, 7f3ac…c21e)" for a device that asks, or a member. The texts must be printable.
std::string WhoText(const std::string& name, Host::DeviceType type, const std::string& networkId);

// A table of the members, and the removed ones below it. The list must be printable.
std::vector<std::string> MemberTable(const Host::MemberList& list);

// The member that word names, as ResolvePeer finds devices. No value: failure is the outcome to finish with.
std::optional<Host::AccountMember> FindMember(const Host::MemberList& list, const std::string& word, Outcome& failure);

}  // namespace Vexo::Ctl
