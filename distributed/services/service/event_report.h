// EventReport: writes the service's structured system events (platform/dfx/sys_event.h). Any thread may call the static
// functions. Each function writes one event on the calling thread. A failed write is ignored and not logged.
#pragma once

#include <cstdint>
#include <string>

namespace Vexo::NetManagerStandard {

// The parameters of an event. The caller must anonymise deviceId (CommonUtils::GetAnonymousDeviceID).
struct EventInfo {
    std::string deviceId;
    int32_t sessionId = 0;  // 0: no session
    int32_t errorCode = 0;  // a HotspotFailure or RemoteInfoFailure (distnet_errors.h); 0: no error
    std::string errorMsg;
};

class EventReport {
public:
    // The following three events belong to the domain NETMANAGER_UE. All three are behaviour events, also the event
    // about a failed start. The comment beside each function lists the parameters of its event.
    static void SendStartDistNetworkBehaviorEvent(const EventInfo& info);  // DEVICE_ID
    static void SendStartDistNetworkSuccessEvent(const EventInfo& info);   // DEVICE_ID
    static void SendStartDistNetworkFailEvent(const EventInfo& info);  // DEVICE_ID, SESSION_ID, ERROR_TYPE, ERROR_MSG

    // The following two events belong to the domain NETMANAGER. The first is a behaviour event without parameters, the
    // second a fault event.
    static void SendGetRemoteDeviceInfoBehaviorEvent(const EventInfo& info);
    static void SendGetRemoteDeviceInfoFaultEvent(const EventInfo& info);  // ERROR_TYPE, ERROR_MSG
};

}  // namespace Vexo::NetManagerStandard
