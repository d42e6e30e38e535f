// BaseAwareness: what every source of awareness events shares: the listeners with the events that each asked for, the
// events that the source offers, and how to tell a listener the current state. Any thread. One lock orders
// registration, removal and delivery, and is held while listeners run: a listener does not call back into its source.
// The one source: awareness_services.h.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <unordered_map>

#include "distributed/services/converged/awareness/awareness_center_callback.h"
#include "platform/base/mutex.h"

namespace Vexo::NetManagerStandard {

class BaseAwareness {
public:
    using NotifyFunc = std::function<void(const std::shared_ptr<AwarenessCenterCallback>&)>;

    BaseAwareness() = default;
    virtual ~BaseAwareness() = default;
    BaseAwareness(const BaseAwareness&) = delete;
    BaseAwareness& operator=(const BaseAwareness&) = delete;

    // Start and stop hearing of changes.
    virtual void Subscribe() = 0;
    virtual void UnSubscribe() = 0;

    // Offers one more event.
    void AddAwareEventsToSet(int32_t event);
    // How a listener is told the current state of an event. The first function of an event stays.
    void AddNotifyNowFuncToMap(int32_t event, const NotifyFunc& func);

    // The offered events that share a bit with the mask; 0 for a mask below 1.
    int32_t GetFilteredEvents(int32_t events);

    // Registers a listener for the offered events of the mask; its earlier mask is replaced, not added to. Nothing
    // happens when nothing of the mask is offered. With isNotifyNow the listener is told the current states within the
    // call, so that no event comes before them.
    void AddCallback(const std::shared_ptr<AwarenessCenterCallback>& callback, int32_t events, bool isNotifyNow);
    void RemoveCallback(const std::shared_ptr<AwarenessCenterCallback>& callback);
    // Tells one listener, registered or not, the current state of every event of the mask.
    void NotifyOnFirstRegister(const std::shared_ptr<AwarenessCenterCallback>& callback, int32_t events);

protected:
    // Runs func for every listener that asked for the event.
    void NotifyListeners(int32_t event, const NotifyFunc& func);

private:
    int32_t FilterEvents(int32_t events) const REQUIRES(awareMutex_);
    void NotifyCurrentStates(const std::shared_ptr<AwarenessCenterCallback>& callback, int32_t events) const
        REQUIRES(awareMutex_);

    Mutex awareMutex_;
    // To the listener's filtered mask.
    std::map<std::shared_ptr<AwarenessCenterCallback>, int32_t> callbackMap_ GUARDED_BY(awareMutex_);
    std::set<int32_t> awareEventSet_ GUARDED_BY(awareMutex_);
    std::unordered_map<int32_t, NotifyFunc> notifyNowFuncMap_ GUARDED_BY(awareMutex_);
};

}  // namespace Vexo::NetManagerStandard
