// Builds the AccountFault that an account operation returns when it fails: the code for programs, and the sentences for
// people. Any thread may call the functions, which keep no state.
#pragma once

#include <optional>
#include <string>

#include "interfaces/account_answers.h"
#include "platform/base/result.h"
#include "platform/softbus/enrolment/join_attempt.h"

namespace Vexo::Host {

// Returns the fault for a device that is in no account.
AccountFault NoAccount();
AccountFault WasRemoved(const std::string& account, std::chrono::sys_seconds at);
// holder: the name of the member that has the account's key; empty: unknown.
AccountFault NotHolder(const std::string& holder);
AccountFault NotSettled();
AccountFault MemberAlready(const std::string& account);
AccountFault NotOpen(const std::string& what);
AccountFault NameTaken(const std::string& name, const std::string& suggestion, const std::string& command);
// Returns the fault for a join that failed. deviceName: the name that this device asked for.
AccountFault JoinFault(const SoftBus::JoinStatus& status, const std::string& deviceName);

}  // namespace Vexo::Host
