// Encodes the daemon's answers about sharing as JSON objects (docs/ipc.md). This file lists the JSON members of each
// type and the words for enumerators; host_answers_json.h explains how such lists work. Any thread may call the
// functions, which do not block.
#pragma once

#include "interfaces/host_answers_json.h"
#include "interfaces/sharing_answers.h"
#include "platform/base/named_values.h"

namespace Vexo::Host {

inline constexpr NamedValue<ShareAllow> SHARE_ALLOW_NAMES[] = {{"account", ShareAllow::ACCOUNT},
                                                               {"ask", ShareAllow::ASK},
                                                               {"nobody", ShareAllow::NOBODY},
                                                               {"devices", ShareAllow::DEVICES}};

inline constexpr NamedValue<ShareDecision> SHARE_DECISION_NAMES[] = {{"once", ShareDecision::ONCE},
                                                                     {"today", ShareDecision::TODAY},
                                                                     {"always", ShareDecision::ALWAYS},
                                                                     {"never", ShareDecision::NEVER},
                                                                     {"deny", ShareDecision::DENY}};

inline constexpr NamedValue<ShareFaultCode> SHARE_FAULT_CODE_NAMES[] = {
    {"unknown_device", ShareFaultCode::UNKNOWN_DEVICE},
    {"not_asked", ShareFaultCode::NOT_ASKED},
    {"failed", ShareFaultCode::FAILED}};

inline constexpr const auto& NamesOf(ShareAllow)
{
    return SHARE_ALLOW_NAMES;
}
inline constexpr const auto& NamesOf(ShareDecision)
{
    return SHARE_DECISION_NAMES;
}
inline constexpr const auto& NamesOf(ShareFaultCode)
{
    return SHARE_FAULT_CODE_NAMES;
}

template <typename Visit>
void ForEachMember(Visit& visit, MaybeConst<ShareUser> auto& user)
{
    visit("network_id", user.networkId);
    visit("device_name", user.deviceName);
    visit("mac_address", user.macAddress);
    visit("since", user.since);
    visit("bytes", user.bytes);
    visit("lease", user.hasLease);
    visit("connected", user.isConnected);
}

template <typename Visit>
void ForEachMember(Visit& visit, MaybeConst<ShareRequest> auto& request)
{
    visit("network_id", request.networkId);
    visit("device_name", request.deviceName);
    visit("at", request.at);
}

template <typename Visit>
void ForEachMember(Visit& visit, MaybeConst<ShareRule> auto& rule)
{
    visit("network_id", rule.networkId);
    visit("device_name", rule.deviceName);
    visit("decision", rule.decision);
    visit("until", rule.until);
}

template <typename Visit>
void ForEachMember(Visit& visit, MaybeConst<ShareStatus> auto& status)
{
    visit("allow", status.allow);
    visit("on", status.isOn);
    visit("opened_here", status.isOpenedHere);
    visit("users", status.users);
    visit("requests", status.requests);
    visit("rules", status.rules);
    visit("month_bytes", status.monthBytes);
    visit("month_limit_bytes", status.monthLimitBytes);
    visit("month_began", status.monthBegan);
    visit("battery_floor_percent", status.batteryFloorPercent);
    visit("closes_after_ms", status.closesAfter);
}

template <typename Visit>
void ForEachMember(Visit& visit, MaybeConst<ShareFault> auto& fault)
{
    visit("code", fault.code);
    visit("message", fault.message);
    visit("advice", fault.advice);
}

template <typename Visit>
void ForEachMember(Visit& visit, MaybeConst<ShareChange> auto& change)
{
    visit("fault", change.fault);
}

}  // namespace Vexo::Host
