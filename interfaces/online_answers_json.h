// Encodes the daemon's answers about getting online as JSON objects (docs/ipc.md). This file lists the JSON members of
// each type and the words for enumerators; host_answers_json.h explains how such lists work. Any thread may call the
// functions, which do not block.
#pragma once

#include "interfaces/host_answers_json.h"
#include "interfaces/online_answers.h"
#include "platform/base/named_values.h"

namespace Vexo::Host {

inline constexpr NamedValue<OnlineFaultCode> ONLINE_FAULT_CODE_NAMES[] = {
    {"failed", OnlineFaultCode::FAILED},
    {"wifi_off", OnlineFaultCode::WIFI_OFF},
    {"wifi_blocked", OnlineFaultCode::WIFI_BLOCKED},
    {"wifi_absent", OnlineFaultCode::WIFI_ABSENT},
    {"no_account", OnlineFaultCode::NO_ACCOUNT},
    {"removed", OnlineFaultCode::REMOVED},
    {"wrong_clock", OnlineFaultCode::WRONG_CLOCK},
    {"busy", OnlineFaultCode::BUSY},
    {"no_service", OnlineFaultCode::NO_SERVICE},
    {"no_devices", OnlineFaultCode::NO_DEVICES},
    {"unknown_device", OnlineFaultCode::UNKNOWN_DEVICE},
    {"away", OnlineFaultCode::AWAY},
    {"unreachable", OnlineFaultCode::UNREACHABLE},
    {"not_allowed", OnlineFaultCode::NOT_ALLOWED},
    {"owner_asked", OnlineFaultCode::OWNER_ASKED},
    {"not_answered", OnlineFaultCode::NOT_ANSWERED},
    {"battery_floor", OnlineFaultCode::BATTERY_FLOOR},
    {"data_limit", OnlineFaultCode::DATA_LIMIT},
    {"peer_wifi_off", OnlineFaultCode::PEER_WIFI_OFF},
    {"peer_wifi_blocked", OnlineFaultCode::PEER_WIFI_BLOCKED},
    {"peer_no_hotspot", OnlineFaultCode::PEER_NO_HOTSPOT},
    {"hotspot_failed", OnlineFaultCode::HOTSPOT_FAILED},
    {"no_answer", OnlineFaultCode::NO_ANSWER},
    {"not_visible", OnlineFaultCode::NOT_VISIBLE},
    {"security_differs", OnlineFaultCode::SECURITY_DIFFERS},
    {"wrong_key", OnlineFaultCode::WRONG_KEY},
    {"no_ip_address", OnlineFaultCode::NO_IP_ADDRESS},
    {"join_failed", OnlineFaultCode::JOIN_FAILED},
    {"no_internet", OnlineFaultCode::NO_INTERNET},
    {"cancelled", OnlineFaultCode::CANCELLED},
    {"timed_out", OnlineFaultCode::TIMED_OUT}};

inline constexpr NamedValue<OnlineStepKind> ONLINE_STEP_KIND_NAMES[] = {{"find", OnlineStepKind::FIND},
                                                                        {"hotspot", OnlineStepKind::HOTSPOT},
                                                                        {"wifi", OnlineStepKind::WIFI},
                                                                        {"online", OnlineStepKind::ONLINE}};

inline constexpr NamedValue<OnlineStepState> ONLINE_STEP_STATE_NAMES[] = {
    {"running", OnlineStepState::RUNNING}, {"done", OnlineStepState::DONE}, {"failed", OnlineStepState::FAILED}};

inline constexpr NamedValue<InternetState> INTERNET_STATE_NAMES[] = {
    {"unknown", InternetState::UNKNOWN}, {"yes", InternetState::YES}, {"no", InternetState::NO}};

inline constexpr NamedValue<UplinkKind> UPLINK_KIND_NAMES[] = {
    {"none", UplinkKind::NONE}, {"mobile", UplinkKind::MOBILE}, {"wire", UplinkKind::WIRE}, {"wifi", UplinkKind::WIFI}};

inline constexpr NamedValue<SharingObstacle> SHARING_OBSTACLE_NAMES[] = {
    {"none", SharingObstacle::NONE},
    {"wifi_off", SharingObstacle::WIFI_OFF},
    {"wifi_blocked", SharingObstacle::WIFI_BLOCKED},
    {"no_hotspot", SharingObstacle::NO_HOTSPOT}};

inline constexpr NamedValue<SharingPermission> SHARING_PERMISSION_NAMES[] = {
    {"allowed", SharingPermission::ALLOWED},
    {"asks", SharingPermission::ASKS},
    {"not_allowed", SharingPermission::NOT_ALLOWED},
    {"not_answered", SharingPermission::NOT_ANSWERED},
    {"battery_floor", SharingPermission::BATTERY_FLOOR},
    {"data_limit", SharingPermission::DATA_LIMIT}};

inline constexpr NamedValue<OnlinePhase> ONLINE_PHASE_NAMES[] = {
    {"idle", OnlinePhase::IDLE},     {"running", OnlinePhase::RUNNING}, {"cancelling", OnlinePhase::CANCELLING},
    {"online", OnlinePhase::ONLINE}, {"failed", OnlinePhase::FAILED},   {"cancelled", OnlinePhase::CANCELLED}};

inline constexpr NamedValue<DownResult> DOWN_RESULT_NAMES[] = {{"done", DownResult::DONE},
                                                               {"not_joined", DownResult::NOT_JOINED}};

inline constexpr NamedValue<AutoState> AUTO_STATE_NAMES[] = {{"off", AutoState::OFF},
                                                             {"watching", AutoState::WATCHING},
                                                             {"waiting", AutoState::WAITING},
                                                             {"trying", AutoState::TRYING},
                                                             {"online", AutoState::ONLINE},
                                                             {"suspended", AutoState::SUSPENDED},
                                                             {"exhausted", AutoState::EXHAUSTED}};

inline constexpr const auto& NamesOf(OnlineFaultCode)
{
    return ONLINE_FAULT_CODE_NAMES;
}
inline constexpr const auto& NamesOf(OnlineStepKind)
{
    return ONLINE_STEP_KIND_NAMES;
}
inline constexpr const auto& NamesOf(OnlineStepState)
{
    return ONLINE_STEP_STATE_NAMES;
}
inline constexpr const auto& NamesOf(InternetState)
{
    return INTERNET_STATE_NAMES;
}
inline constexpr const auto& NamesOf(UplinkKind)
{
    return UPLINK_KIND_NAMES;
}
inline constexpr const auto& NamesOf(SharingObstacle)
{
    return SHARING_OBSTACLE_NAMES;
}
inline constexpr const auto& NamesOf(SharingPermission)
{
    return SHARING_PERMISSION_NAMES;
}
inline constexpr const auto& NamesOf(OnlinePhase)
{
    return ONLINE_PHASE_NAMES;
}
inline constexpr const auto& NamesOf(DownResult)
{
    return DOWN_RESULT_NAMES;
}
inline constexpr const auto& NamesOf(AutoState)
{
    return AUTO_STATE_NAMES;
}

template <typename Visit>
void ForEachMember(Visit& visit, MaybeConst<OnlineFault> auto& fault)
{
    visit("code", fault.code);
    visit("network_id", fault.networkId);
    visit("device_name", fault.deviceName);
    visit("message", fault.message);
    visit("advice", fault.advice);
}

template <typename Visit>
void ForEachMember(Visit& visit, MaybeConst<OnlineStep> auto& step)
{
    visit("network_id", step.networkId);
    visit("device_name", step.deviceName);
    visit("kind", step.kind);
    visit("state", step.state);
    visit("took_ms", step.took);
    visit("transport", step.transport);
    visit("ssid", step.ssid);
    visit("security", step.security);
    visit("address", step.address);
    visit("fault", step.fault);
}

template <typename Visit>
void ForEachMember(Visit& visit, MaybeConst<DeviceFacts> auto& facts)
{
    visit("network_id", facts.networkId);
    visit("at", facts.at);
    visit("obstacle", facts.obstacle);
    visit("permission", facts.permission);
    visit("uplink", facts.uplink);
    visit("technology", facts.technology);
    visit("signal_percent", facts.signalPercent);
    visit("metered", facts.isMetered);
    visit("internet", facts.internet);
    visit("mobile_data_off", facts.isMobileDataOff);
    visit("battery_percent", facts.batteryPercent);
    visit("charging", facts.isCharging);
}

template <typename Visit>
void ForEachMember(Visit& visit, MaybeConst<UndoneChanges> auto& back)
{
    visit("left_wifi", back.hasLeftWifi);
    visit("back_on", back.backOn);
    visit("network_id", back.networkId);
    visit("device_name", back.deviceName);
    visit("told", back.wasNotified);
    visit("closed_hotspot", back.hasClosedHotspot);
}

template <typename Visit>
void ForEachMember(Visit& visit, MaybeConst<OnlineAnswer> auto& answer)
{
    visit("revision", answer.revision);
    visit("phase", answer.phase);
    visit("automatic", answer.isAutomatic);
    visit("steps", answer.steps);
    visit("network_id", answer.networkId);
    visit("device_name", answer.deviceName);
    visit("facts", answer.facts);
    visit("fault", answer.fault);
    visit("taken_back", answer.undoneChanges);
}

template <typename Visit>
void ForEachMember(Visit& visit, MaybeConst<DownAnswer> auto& answer)
{
    visit("result", answer.result);
    visit("taken_back", answer.undoneChanges);
    visit("fault", answer.fault);
}

template <typename Visit>
void ForEachMember(Visit& visit, MaybeConst<AutoStatus> auto& status)
{
    visit("on", status.isOn);
    visit("state", status.state);
    visit("until", status.until);
}

template <typename Visit>
void ForEachMember(Visit& visit, MaybeConst<OnlineStatus> auto& status)
{
    visit("attempt", status.attempt);
    visit("lease", status.hasLease);
    visit("since", status.since);
    visit("automatic", status.automatic);
    visit("preferred", status.preferred);
    visit("facts", status.facts);
}

template <typename Visit>
void ForEachMember(Visit& visit, MaybeConst<OnlineChange> auto& change)
{
    visit("fault", change.fault);
}

}  // namespace Vexo::Host
