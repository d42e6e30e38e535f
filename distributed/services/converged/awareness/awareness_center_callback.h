// AwarenessCenterCallback: the interface of a listener to screen, connectivity and battery changes, and the event bits
// that select the changes. Called on task threads, and on the registering thread for the current states. A source makes
// one call at a time and holds its lock meanwhile: a listener must not call back into the source. Registration:
// awareness_center_interface.h.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/eventloop/event_runner.h"

namespace Vexo::NetManagerStandard {

// A listener registers for an OR of these bits.
enum AwareEvent : int32_t {
    AWARE_EVENT_SCREEN_STATE = 0x100,
    AWARE_EVENT_CONNECTIVITY = 0x200,
    AWARE_EVENT_BATTERY_LOW = 0x400,
};

class AwarenessCenterCallback {
public:
    virtual ~AwarenessCenterCallback() = default;

    // runner: the listener may schedule work on it; may be null.
    virtual void OnScreenStateChanged(bool isScreenOn, std::shared_ptr<AppExecFwk::EventRunner> runner) = 0;
    // netType is -1 if the event names no network type. An unknown type is passed on unchanged.
    virtual void OnConnectivityChanged(int netType, int connState) = 0;
    virtual void OnBatteryLowChanged(bool) {}
};

}  // namespace Vexo::NetManagerStandard
