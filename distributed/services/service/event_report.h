// EventReport: the service's structured system events (platform/dfx/sys_event.h). Static operations from any thread;
// each writes one event on the calling thread. A refused write is silent: reporting never changes what is reported.
#pragma once

#include <cstdint>
#include <string>

namespace Vexo::NetManagerStandard {

// What an event is made of. deviceId is always anonymised already (CommonUtils::GetAnonymousDeviceID).
struct EventInfo {
    std::string deviceId;
    int32_t sessionId = 0;  // 0: none
    int32_t errorCode = 0;  // HotspotFailure or RemoteInfoFailure of distnet_errors.h; 0: none
    std::string errorMsg;
};

class EventReport {
public:
    // Domain NETMANAGER_UE, all behaviour events: a failed start is part of how the feature is used.
    static void SendStartDistNetworkBehaviorEvent(const EventInfo& info);  // DEVICE_ID
    static void SendStartDistNetworkSuccessEvent(const EventInfo& info);   // DEVICE_ID
    static void SendStartDistNetworkFailEvent(const EventInfo& info);  // DEVICE_ID, SESSION_ID, ERROR_TYPE, ERROR_MSG

    // Domain NETMANAGER: a behaviour event without parameters, and a fault event.
    static void SendGetRemoteDeviceInfoBehaviorEvent(const EventInfo& info);
    static void SendGetRemoteDeviceInfoFaultEvent(const EventInfo& info);  // ERROR_TYPE, ERROR_MSG
};

}  // namespace Vexo::NetManagerStandard
