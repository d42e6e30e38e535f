// AwarenessCenterCallback: the interface of a listener to screen, connectivity and battery changes, and the event bits
// that select the changes. A source of events calls its listeners on task threads. Only the current states are reported
// on the thread that registers the listener. The source makes one call at a time and holds its lock during the call, so
// a listener must not call back into the source. Registration: awareness_center_interface.h.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/eventloop/event_runner.h"

namespace Vexo::NetManagerStandard {

// The bits of an event mask. A listener registers for any combination of them.
enum AwareEvent : int32_t {
    AWARE_EVENT_SCREEN_STATE = 0x100,
    AWARE_EVENT_CONNECTIVITY = 0x200,
    AWARE_EVENT_BATTERY_LOW = 0x400,
};

class AwarenessCenterCallback {
public:
    virtual ~AwarenessCenterCallback() = default;

    // runner: an event runner on which the listener may schedule work; may be null.
    virtual void OnScreenStateChanged(bool isScreenOn, std::shared_ptr<AppExecFwk::EventRunner> runner) = 0;
    // netType: the network type, or -1 if the event names none. A type that the service does not know is passed
    // unchanged.
    virtual void OnConnectivityChanged(int netType, int connState) = 0;
    virtual void OnBatteryLowChanged(bool) {}
};

}  // namespace Vexo::NetManagerStandard
