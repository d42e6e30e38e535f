#include "host/account_faults.h"

#include "platform/base/utf8.h"
#include "platform/trust/identity_checks.h"

namespace Vexo::Host {
namespace {

using SoftBus::JoinFailure;

constexpr const char* NEW_TICKET = "Make a new ticket where the account's key is: distnetctl account invite";

std::string Quoted(const std::string& text)
{
    return "\"" + EscapeHidden(text) + "\"";
}

// Maps a kind of join failure to the fault for it. For these kinds, the message and the advice are constant.
struct Row {
    JoinFailure failure;
    AccountFaultCode code;
    const char* message;
    const char* advice;
};

constexpr Row ROWS[] = {
    {JoinFailure::NOBODY_FOUND, AccountFaultCode::NOBODY_FOUND, "no device that has this ticket was found",
     "Bring the two devices together, or into one network, and keep `distnetctl account invite` open on the other one"},
    {JoinFailure::USED, AccountFaultCode::USED, "another device has joined with this ticket already", NEW_TICKET},
    {JoinFailure::EXPIRED, AccountFaultCode::EXPIRED, "this ticket has expired, or was withdrawn", NEW_TICKET},
    {JoinFailure::DENIED, AccountFaultCode::DENIED, "the other device's owner did not admit this one", NEW_TICKET},
    {JoinFailure::BUSY, AccountFaultCode::BUSY, "another device is asking with this ticket right now",
     "Try again in a moment; if that was not your device, make a new ticket"},
    {JoinFailure::REMOVED_KEY, AccountFaultCode::REMOVED_KEY, "the account has removed this device's key",
     "Give this device a new key, then join again: distnetctl account leave"},
    {JoinFailure::WRONG_CLOCK, AccountFaultCode::WRONG_CLOCK, "the clocks of the two devices differ by more than a day",
     "Set the one that is wrong, then use the same ticket again: timedatectl set-ntp true"},
    {JoinFailure::LOST, AccountFaultCode::LOST, "the other device went away before it answered",
     "Try again with the same ticket"},
    {JoinFailure::CANCELLED, AccountFaultCode::CANCELLED, "the join was cancelled", "The ticket can be used again"},
};

}  // namespace

AccountFault NoAccount()
{
    return {AccountFaultCode::NO_ACCOUNT, "this device is in no account",
            "Make one, or join one: distnetctl account create NAME; distnetctl account join", ""};
}

AccountFault WasRemoved(const std::string& account, std::chrono::sys_seconds at)
{
    return {AccountFaultCode::WAS_REMOVED,
            "this device was removed from the account " + Quoted(account) + " on " + DateOf(at),
            "To use it again: `distnetctl account leave`, then join with a new ticket", ""};
}

AccountFault NotHolder(const std::string& holder)
{
    return {
        AccountFaultCode::NOT_HOLDER, "this device does not hold the account's key",
        holder.empty() ? "Use the device that made the account" : "Use " + EscapeHidden(holder) + ", which holds it",
        ""};
}

AccountFault NotSettled()
{
    return {AccountFaultCode::NOT_SETTLED,
            "this device was restored from a backup, and has met no other member of the account yet",
            "Bring another member near; if none is left, restore again with --alone", ""};
}

AccountFault MemberAlready(const std::string& account)
{
    return {AccountFaultCode::MEMBER_ALREADY, "this device is a member of " + Quoted(account) + " already",
            "To move it to another account, leave this one first: distnetctl account leave", ""};
}

AccountFault NotOpen(const std::string& what)
{
    return {AccountFaultCode::NOT_OPEN, "this program has no " + what + " under way", "", ""};
}

AccountFault NameTaken(const std::string& name, const std::string& suggestion, const std::string& command)
{
    return {AccountFaultCode::NAME_TAKEN, "the account has a device called " + Quoted(name) + " already",
            suggestion.empty() ? "Choose another name" : "Choose another name: " + command + EscapeHidden(suggestion),
            suggestion};
}

AccountFault JoinFault(const SoftBus::JoinStatus& status, const std::string& deviceName)
{
    if (status.failure == JoinFailure::NAME_TAKEN) {
        return NameTaken(deviceName, status.suggestion, "distnetctl account join --device-name ");
    }
    for (const Row& row : ROWS) {
        if (row.failure == status.failure) {
            return {row.code, row.message, row.advice, ""};
        }
    }
    return {AccountFaultCode::FAILED, status.why.empty() ? "the join failed" : status.why,
            "See the daemon's log: journalctl -u distnet", ""};
}

}  // namespace Vexo::Host
