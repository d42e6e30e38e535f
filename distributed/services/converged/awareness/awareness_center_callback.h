// AwarenessCenterCallback: hears of screen, connectivity and battery changes, and the event bits that select what it
// hears. Called on task threads, one call at a time for one source, while the source holds its lock: a listener does
// not call back into the source. Registration: awareness_center_interface.h.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/eventloop/event_runner.h"

namespace Vexo::NetManagerStandard {

// A listener asks for an OR of these.
enum AwareEvent : int32_t {
    AWARE_EVENT_SCREEN_STATE = 0x100,
    AWARE_EVENT_CONNECTIVITY = 0x200,
    AWARE_EVENT_BATTERY_LOW = 0x400,
};

class AwarenessCenterCallback {
public:
    virtual ~AwarenessCenterCallback() = default;

    // runner is where the listener may schedule work; it may be empty.
    virtual void OnScreenStateChanged(bool isScreenOn, std::shared_ptr<AppExecFwk::EventRunner> runner) = 0;
    // An event that names no network type comes as type -1, one of an unknown type as it is.
    virtual void OnConnectivityChanged(int netType, int connState) = 0;
    virtual void OnBatteryLowChanged(bool) {}
};

}  // namespace Vexo::NetManagerStandard
