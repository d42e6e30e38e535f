// EventReport: writes the service's structured system events (platform/dfx/sys_event.h). Static functions; any thread.
// Each writes one event on the calling thread. A failed write is ignored and not logged.
#pragma once

#include <cstdint>
#include <string>

namespace Vexo::NetManagerStandard {

// The parameters of an event. The caller must anonymise deviceId (CommonUtils::GetAnonymousDeviceID).
struct EventInfo {
    std::string deviceId;
    int32_t sessionId = 0;  // 0: none
    int32_t errorCode = 0;  // HotspotFailure or RemoteInfoFailure of distnet_errors.h; 0: none
    std::string errorMsg;
};

class EventReport {
public:
    // Domain NETMANAGER_UE. All three are behaviour events, also the failed start. The parameters are named beside
    // each.
    static void SendStartDistNetworkBehaviorEvent(const EventInfo& info);  // DEVICE_ID
    static void SendStartDistNetworkSuccessEvent(const EventInfo& info);   // DEVICE_ID
    static void SendStartDistNetworkFailEvent(const EventInfo& info);  // DEVICE_ID, SESSION_ID, ERROR_TYPE, ERROR_MSG

    // Domain NETMANAGER: a behaviour event without parameters, and a fault event.
    static void SendGetRemoteDeviceInfoBehaviorEvent(const EventInfo& info);
    static void SendGetRemoteDeviceInfoFaultEvent(const EventInfo& info);  // ERROR_TYPE, ERROR_MSG
};

}  // namespace Vexo::NetManagerStandard
