// SystemAwareness: the source of awareness events. It subscribes to these common events of the device: screen on,
// screen off, battery low and connectivity change. It keeps the last states for listeners that register later. The
// common-event thread passes every event to the task runtime at once. Several events may be handled on task threads at
// the same time, but the lock of BaseAwareness makes the calls to the listeners one after another.
// awareness_center_factory.h creates the source, awareness_center_manager.h owns it.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "distributed/services/converged/awareness/awareness_base.h"
#include "distributed/services/converged/awareness/net_info.h"
#include "platform/base/mutex.h"
#include "platform/events/common_event_subscriber.h"

namespace Vexo::NetManagerStandard {

class SystemAwareness : public BaseAwareness {
public:
    class SysAwareSubscriber;

    // Subscribes to the common events if the common-event service is registered.
    SystemAwareness();
    // Unsubscribes, drops all queued events and waits until the running handlers have finished.
    ~SystemAwareness() override;

    // Subscribes to the common events. Does nothing if this source is already subscribed, or if the common-event
    // service is not registered (logged). If the service refuses the subscription (logged), the source still counts as
    // subscribed until UnSubscribe.
    void Subscribe() override;
    void UnSubscribe() override;

    // Delivers one event to the listeners. Ignores an event with an unknown action.
    void HandleSystemEvent(const EventFwk::CommonEventData& data);

    int32_t GetCurrentNetInfo(NetInfo& info) const;  // always returns 0
    // Stores the connection state of one network type. Ignores a type below 0 or above 6.
    void UpdateNetInfo(int netType, int connState);
    void InitLocalStateCache();  // sets all connection states to 0
    void InitSysEventsSet();

private:
    // EventGate prevents a queued event from calling a source that was destroyed.
    class EventGate;
    using EventHandle = void (SystemAwareness::*)(const EventFwk::CommonEventData&);

    void InitSystemNotifyNowMap();
    void InitSystemEventHandleMap();
    void InitSubscribedEventList();

    void NotifyScreenOnChanged(const EventFwk::CommonEventData& data);
    void NotifyScreenOffChanged(const EventFwk::CommonEventData& data);
    void NotifyBatteryLowChanged(const EventFwk::CommonEventData& data);
    void NotifyConnectivityChanged(const EventFwk::CommonEventData& data);

    // Each of the following functions reports a current state to one listener.
    void HandleScreenStateChangedInner(const std::shared_ptr<AwarenessCenterCallback>& callback) const;
    void HandleBatteryLowChangedInner(const std::shared_ptr<AwarenessCenterCallback>& callback) const;
    void HandleConnectivityChangeInner(const std::shared_ptr<AwarenessCenterCallback>& callback) const;

    // The following three members do not change after construction.
    std::vector<std::string> subscribedEventList_;
    std::map<std::string, EventHandle> eventHandleMap_;
    std::shared_ptr<EventGate> gate_;

    Mutex subscriberMutex_;  // not held during calls to other classes
    std::shared_ptr<SysAwareSubscriber> subscriber_ GUARDED_BY(subscriberMutex_);

    // The current states of the device. They are written before the listeners are notified, and any thread may read
    // them.
    std::atomic<bool> isScreenOn_{false};
    std::atomic<bool> isBatteryLow_{false};
    std::array<std::atomic<int32_t>, NET_TYPE_COUNT> netStateCache_{};

    // Listeners receive this runner with each screen state. It is always null.
    static const std::shared_ptr<AppExecFwk::EventRunner> eventRunner_;
};

// Receives events from the common-event service. The pointer to the owner is used only while the gate is open, so never
// after the owner is destroyed.
class SystemAwareness::SysAwareSubscriber : public EventFwk::CommonEventSubscriber {
public:
    SysAwareSubscriber(const EventFwk::CommonEventSubscribeInfo& info, SystemAwareness* owner);
    ~SysAwareSubscriber() override = default;

    void OnReceiveEvent(const EventFwk::CommonEventData& data) override;

private:
    SystemAwareness* const owner_;
    const std::shared_ptr<EventGate> gate_;
};

}  // namespace Vexo::NetManagerStandard
