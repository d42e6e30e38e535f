// SystemAwareness: the source of awareness events. It subscribes to the device's common events: screen on and off,
// battery low, connectivity change. It keeps the last states for listeners that register later. The common-event thread
// passes every event to the task runtime at once. Handlers run on task threads, possibly several at the same time;
// listeners are called one at a time under the lock of BaseAwareness. Created by awareness_center_factory.h, owned by
// awareness_center_manager.h.
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

    // Subscribes if the common-event service is registered.
    SystemAwareness();
    // Unsubscribes, drops the events that are still queued and waits for running handlers.
    ~SystemAwareness() override;

    // Does nothing if the source is subscribed already, or if the common-event service is not registered (logged). A
    // subscription that the service refuses (logged) still counts as subscribed until UnSubscribe.
    void Subscribe() override;
    void UnSubscribe() override;

    // Delivers one event to the listeners. Ignores an unknown action.
    void HandleSystemEvent(const EventFwk::CommonEventData& data);

    int32_t GetCurrentNetInfo(NetInfo& info) const;  // always returns 0
    // Ignores types outside 0 to 6.
    void UpdateNetInfo(int netType, int connState);
    void InitLocalStateCache();  // sets all connection states to 0
    void InitSysEventsSet();

private:
    // Prevents a queued event from calling a source that was destroyed.
    class EventGate;
    using EventHandle = void (SystemAwareness::*)(const EventFwk::CommonEventData&);

    void InitSystemNotifyNowMap();
    void InitSystemEventHandleMap();
    void InitSubscribedEventList();

    void NotifyScreenOnChanged(const EventFwk::CommonEventData& data);
    void NotifyScreenOffChanged(const EventFwk::CommonEventData& data);
    void NotifyBatteryLowChanged(const EventFwk::CommonEventData& data);
    void NotifyConnectivityChanged(const EventFwk::CommonEventData& data);

    // Report the current state to one listener.
    void HandleScreenStateChangedInner(const std::shared_ptr<AwarenessCenterCallback>& callback) const;
    void HandleBatteryLowChangedInner(const std::shared_ptr<AwarenessCenterCallback>& callback) const;
    void HandleConnectivityChangeInner(const std::shared_ptr<AwarenessCenterCallback>& callback) const;

    // Constant after construction.
    std::vector<std::string> subscribedEventList_;
    std::map<std::string, EventHandle> eventHandleMap_;
    std::shared_ptr<EventGate> gate_;

    Mutex subscriberMutex_;  // not held while other code is called
    std::shared_ptr<SysAwareSubscriber> subscriber_ GUARDED_BY(subscriberMutex_);

    // The current states. Written before the listeners are notified; read on any thread.
    std::atomic<bool> isScreenOn_{false};
    std::atomic<bool> isBatteryLow_{false};
    std::array<std::atomic<int32_t>, NET_TYPE_COUNT> netStateCache_{};

    // Passed to listeners with each screen state. Always null.
    static const std::shared_ptr<AppExecFwk::EventRunner> eventRunner_;
};

// Receives events from the common-event service. The pointer to the owner is used only through the gate, and so never
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
