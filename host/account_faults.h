// What account operations answer when they fail: the code for programs, and the sentences for people. Functions without
// state; any thread.
#pragma once

#include <optional>
#include <string>

#include "interfaces/account_answers.h"
#include "platform/base/result.h"
#include "platform/softbus/enrolment/join_attempt.h"

namespace Vexo::Host {

// This device is in no account.
AccountFault NoAccount();
AccountFault WasRemoved(const std::string& account, std::chrono::sys_seconds at);
// holder: the name of the member with the account's key; empty: not known.
AccountFault NotHolder(const std::string& holder);
AccountFault NotSettled();
AccountFault MemberAlready(const std::string& account);
AccountFault NotOpen(const std::string& what);
AccountFault NameTaken(const std::string& name, const std::string& suggestion, const std::string& command);
// Why a join has failed. deviceName: what this device asked to be called.
AccountFault JoinFault(const SoftBus::JoinStatus& status, const std::string& deviceName);

}  // namespace Vexo::Host
