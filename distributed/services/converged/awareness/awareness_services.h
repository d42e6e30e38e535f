// SystemAwareness: the source of awareness events that the device's common events feed: screen on and off, battery low,
// connectivity change. It remembers the last states for listeners that come later. The common-event thread hands every
// event to the task runtime at once; handlers run on task threads, two at a time perhaps, and listeners one at a time
// under the base's lock. Made by awareness_center_factory.h, owned by awareness_center_manager.h.
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

    // Subscribes, if the common-event service is there.
    SystemAwareness();
    // Unsubscribes, drops the events that are still queued and waits for the handlers that run.
    ~SystemAwareness() override;

    // One subscription at a time. Without the common-event service, or while subscribed, nothing happens. A refused
    // registration counts as subscribed until UnSubscribe.
    void Subscribe() override;
    void UnSubscribe() override;

    // Delivers one event to the listeners; an unknown action is ignored.
    void HandleSystemEvent(const EventFwk::CommonEventData& data);

    int32_t GetCurrentNetInfo(NetInfo& info) const;  // always 0
    // Types outside 0 to 6 are ignored.
    void UpdateNetInfo(int netType, int connState);
    void InitLocalStateCache();  // all connection states 0
    void InitSysEventsSet();

private:
    // Lets a queued event reach its source only while the source lives.
    class EventGate;
    using EventHandle = void (SystemAwareness::*)(const EventFwk::CommonEventData&);

    void InitSystemNotifyNowMap();
    void InitSystemEventHandleMap();
    void InitSubscribedEventList();

    void NotifyScreenOnChanged(const EventFwk::CommonEventData& data);
    void NotifyScreenOffChanged(const EventFwk::CommonEventData& data);
    void NotifyBatteryLowChanged(const EventFwk::CommonEventData& data);
    void NotifyConnectivityChanged(const EventFwk::CommonEventData& data);

    // Tell one listener the state of now.
    void HandleScreenStateChangedInner(const std::shared_ptr<AwarenessCenterCallback>& callback) const;
    void HandleBatteryLowChangedInner(const std::shared_ptr<AwarenessCenterCallback>& callback) const;
    void HandleConnectivityChangeInner(const std::shared_ptr<AwarenessCenterCallback>& callback) const;

    // Constant after construction.
    std::vector<std::string> subscribedEventList_;
    std::map<std::string, EventHandle> eventHandleMap_;
    std::shared_ptr<EventGate> gate_;

    Mutex subscriberMutex_;  // never held over a call
    std::shared_ptr<SysAwareSubscriber> subscriber_ GUARDED_BY(subscriberMutex_);

    // Written before the base's lock is taken, read by anyone.
    std::atomic<bool> isScreenOn_{false};
    std::atomic<bool> isBatteryLow_{false};
    std::array<std::atomic<int32_t>, NET_TYPE_COUNT> netStateCache_{};

    // Handed to listeners with each screen state. Never assigned: they get an empty pointer and cope.
    static const std::shared_ptr<AppExecFwk::EventRunner> eventRunner_;
};

// What the common-event service calls. Holds its owner by a plain pointer, which the gate keeps from being used once
// the owner has gone.
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
