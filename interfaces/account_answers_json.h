// Encodes the daemon's answers about the account as JSON objects (docs/ipc.md). This file lists the JSON members of
// each type and the words for enumerators; host_answers_json.h explains how such lists work. Any thread may call the
// functions, which do not block.
#pragma once

#include "interfaces/account_answers.h"
#include "interfaces/host_answers_json.h"
#include "platform/base/named_values.h"

namespace Vexo::Host {

inline constexpr NamedValue<AccountFaultCode> ACCOUNT_FAULT_NAMES[] = {
    {"failed", AccountFaultCode::FAILED},
    {"no_account", AccountFaultCode::NO_ACCOUNT},
    {"member_already", AccountFaultCode::MEMBER_ALREADY},
    {"was_removed", AccountFaultCode::WAS_REMOVED},
    {"not_holder", AccountFaultCode::NOT_HOLDER},
    {"not_settled", AccountFaultCode::NOT_SETTLED},
    {"has_members", AccountFaultCode::HAS_MEMBERS},
    {"unknown_member", AccountFaultCode::UNKNOWN_MEMBER},
    {"this_device", AccountFaultCode::THIS_DEVICE},
    {"bad_name", AccountFaultCode::BAD_NAME},
    {"name_taken", AccountFaultCode::NAME_TAKEN},
    {"bad_ticket", AccountFaultCode::BAD_TICKET},
    {"nobody_found", AccountFaultCode::NOBODY_FOUND},
    {"used", AccountFaultCode::USED},
    {"expired", AccountFaultCode::EXPIRED},
    {"denied", AccountFaultCode::DENIED},
    {"busy", AccountFaultCode::BUSY},
    {"removed_key", AccountFaultCode::REMOVED_KEY},
    {"wrong_clock", AccountFaultCode::WRONG_CLOCK},
    {"lost", AccountFaultCode::LOST},
    {"cancelled", AccountFaultCode::CANCELLED},
    {"not_open", AccountFaultCode::NOT_OPEN}};

inline constexpr NamedValue<InvitationPhase> INVITATION_PHASE_NAMES[] = {{"waiting", InvitationPhase::WAITING},
                                                                         {"asking", InvitationPhase::ASKING},
                                                                         {"admitted", InvitationPhase::ADMITTED},
                                                                         {"ended", InvitationPhase::ENDED}};

inline constexpr NamedValue<JoinPhase> JOIN_PHASE_NAMES[] = {{"searching", JoinPhase::SEARCHING},
                                                             {"confirming", JoinPhase::CONFIRMING},
                                                             {"done", JoinPhase::DONE},
                                                             {"failed", JoinPhase::FAILED}};

inline constexpr const auto& NamesOf(AccountFaultCode)
{
    return ACCOUNT_FAULT_NAMES;
}
inline constexpr const auto& NamesOf(InvitationPhase)
{
    return INVITATION_PHASE_NAMES;
}
inline constexpr const auto& NamesOf(JoinPhase)
{
    return JOIN_PHASE_NAMES;
}

template <typename Visit>
void ForEachMember(Visit& visit, MaybeConst<AccountFault> auto& fault)
{
    visit("code", fault.code);
    visit("message", fault.message);
    visit("advice", fault.advice);
    visit("suggestion", fault.suggestion);
}

template <typename Visit>
void ForEachMember(Visit& visit, MaybeConst<ChangeAnswer> auto& change)
{
    visit("fault", change.fault);
}

template <typename Visit>
void ForEachMember(Visit& visit, MaybeConst<JoiningDevice> auto& joiner)
{
    visit("name", joiner.name);
    visit("type", joiner.type);
    visit("network_id", joiner.networkId);
    visit("number", joiner.number);
}

template <typename Visit>
void ForEachMember(Visit& visit, MaybeConst<InvitationAnswer> auto& invitation)
{
    visit("revision", invitation.revision);
    visit("phase", invitation.phase);
    visit("account", invitation.account);
    visit("ticket", invitation.ticket);
    visit("expires", invitation.expires);
    visit("joiner", invitation.joiner);
    visit("note", invitation.note);
    visit("fault", invitation.fault);
}

template <typename Visit>
void ForEachMember(Visit& visit, MaybeConst<JoinAnswer> auto& join)
{
    visit("revision", join.revision);
    visit("phase", join.phase);
    visit("device_name", join.deviceName);
    visit("transport", join.transport);
    visit("holder", join.holder);
    visit("account", join.account);
    visit("number", join.number);
    visit("fault", join.fault);
}

template <typename Visit>
void ForEachMember(Visit& visit, MaybeConst<AccountMember> auto& member)
{
    visit("name", member.name);
    visit("type", member.type);
    visit("network_id", member.networkId);
    visit("since", member.since);
    visit("last_reached", member.lastReached);
    visit("online", member.online);
    visit("pending", member.pending);
    visit("this_device", member.isThisDevice);
    visit("holds_key", member.holdsKey);
}

template <typename Visit>
void ForEachMember(Visit& visit, MaybeConst<RemovedMember> auto& removed)
{
    visit("name", removed.name);
    visit("network_id", removed.networkId);
    visit("at", removed.at);
}

template <typename Visit>
void ForEachMember(Visit& visit, MaybeConst<MemberList> auto& list)
{
    visit("account", list.account);
    visit("members", list.members);
    visit("removed", list.removed);
    visit("fault", list.fault);
}

}  // namespace Vexo::Host
