// The actions of common events, and the network types and states that a connectivity event carries. No other file
// defines them.
#pragma once

#include <cstdint>
#include <string>

namespace Vexo::EventFwk {

class CommonEventSupport {
public:
    static const std::string COMMON_EVENT_SCREEN_ON;
    static const std::string COMMON_EVENT_SCREEN_OFF;
    static const std::string COMMON_EVENT_BATTERY_LOW;
    // The event's parameter NET_TYPE_PARAMETER is a NetType. The event's code is the new NetConnState of that network
    // type.
    static const std::string COMMON_EVENT_CONNECTIVITY_CHANGE;
    static const std::string NET_TYPE_PARAMETER;  // "NetType"
};

enum class NetType : int32_t {
    CELLULAR = 0,
    WIFI = 1,
    BLUETOOTH = 2,
    ETHERNET = 3,
    VPN = 4,
    WIFI_AWARE = 5,
    OTHER = 6
};

enum class NetConnState : int32_t {
    UNKNOWN = 0,
    IDLE = 1,
    CONNECTING = 2,
    CONNECTED = 3,
    DISCONNECTING = 4,
    DISCONNECTED = 5,
    FAILED = 6,
};

}  // namespace Vexo::EventFwk
