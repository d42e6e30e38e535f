#include "distributed/services/service/event_report.h"

#include "platform/dfx/sys_event.h"

namespace Vexo::NetManagerStandard {
namespace {

using QuviewDFX::QuSysEvent;

constexpr const char* DOMAIN_USER_EXPERIENCE = "NETMANAGER_UE";
constexpr const char* DOMAIN_NET_MANAGER = "NETMANAGER";
constexpr const char* KEY_DEVICE_ID = "DEVICE_ID";
constexpr const char* KEY_SESSION_ID = "SESSION_ID";
constexpr const char* KEY_ERROR_TYPE = "ERROR_TYPE";
constexpr const char* KEY_ERROR_MSG = "ERROR_MSG";

}  // namespace

void EventReport::SendStartDistNetworkBehaviorEvent(const EventInfo& info)
{
    QuSysEvent::Write(DOMAIN_USER_EXPERIENCE, "NET_START_DIST_NETWORK_BEHAVIOR", QuSysEvent::BEHAVIOR, KEY_DEVICE_ID,
                      info.deviceId);
}

void EventReport::SendStartDistNetworkSuccessEvent(const EventInfo& info)
{
    QuSysEvent::Write(DOMAIN_USER_EXPERIENCE, "NET_START_DIST_NETWORK_SUCCESS", QuSysEvent::BEHAVIOR, KEY_DEVICE_ID,
                      info.deviceId);
}

void EventReport::SendStartDistNetworkFailEvent(const EventInfo& info)
{
    QuSysEvent::Write(DOMAIN_USER_EXPERIENCE, "NET_START_DIST_NETWORK_FAIL", QuSysEvent::BEHAVIOR, KEY_DEVICE_ID,
                      info.deviceId, KEY_SESSION_ID, info.sessionId, KEY_ERROR_TYPE, info.errorCode, KEY_ERROR_MSG,
                      info.errorMsg);
}

void EventReport::SendGetRemoteDeviceInfoBehaviorEvent(const EventInfo&)
{
    QuSysEvent::Write(DOMAIN_NET_MANAGER, "NET_REMOTE_DEVICE_INFO_BEHAVIOR", QuSysEvent::BEHAVIOR);
}

void EventReport::SendGetRemoteDeviceInfoFaultEvent(const EventInfo& info)
{
    QuSysEvent::Write(DOMAIN_NET_MANAGER, "NET_REMOTE_DEVICE_INFO_FAULT", QuSysEvent::FAULT, KEY_ERROR_TYPE,
                      info.errorCode, KEY_ERROR_MSG, info.errorMsg);
}

}  // namespace Vexo::NetManagerStandard
