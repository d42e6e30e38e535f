// BaseAwareness: the base class of sources of awareness events. It keeps the listeners with their event masks, the
// events that the source offers, and the functions that report a current state to a listener. Any thread. One lock
// guards registration, removal and delivery. The lock is held while listeners run: a listener must not call back into
// its source. Derived class: awareness_services.h.
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

    // Start and stop receiving changes.
    virtual void Subscribe() = 0;
    virtual void UnSubscribe() = 0;

    // Adds an event to those that the source offers.
    void AddAwareEventsToSet(int32_t event);
    // Sets the function that reports the current state of an event to a listener. Does nothing if the event already has
    // a function.
    void AddNotifyNowFuncToMap(int32_t event, const NotifyFunc& func);

    // Returns the offered events that share a bit with the mask; 0 if the mask is below 1.
    int32_t GetFilteredEvents(int32_t events);

    // Registers a listener for the offered events of the mask, or replaces its earlier mask. Does nothing if the source
    // offers no event of the mask. With isNotifyNow the listener receives the current states during the call, before
    // any event.
    void AddCallback(const std::shared_ptr<AwarenessCenterCallback>& callback, int32_t events, bool isNotifyNow);
    void RemoveCallback(const std::shared_ptr<AwarenessCenterCallback>& callback);
    // Reports the current state of every event of the mask to one listener, which need not be registered.
    void NotifyOnFirstRegister(const std::shared_ptr<AwarenessCenterCallback>& callback, int32_t events);

protected:
    // Runs func for every listener that is registered for the event.
    void NotifyListeners(int32_t event, const NotifyFunc& func);

private:
    int32_t FilterEvents(int32_t events) const REQUIRES(awareMutex_);
    void NotifyCurrentStates(const std::shared_ptr<AwarenessCenterCallback>& callback, int32_t events) const
        REQUIRES(awareMutex_);

    Mutex awareMutex_;
    // Maps each listener to its filtered mask.
    std::map<std::shared_ptr<AwarenessCenterCallback>, int32_t> callbackMap_ GUARDED_BY(awareMutex_);
    std::set<int32_t> awareEventSet_ GUARDED_BY(awareMutex_);
    std::unordered_map<int32_t, NotifyFunc> notifyNowFuncMap_ GUARDED_BY(awareMutex_);
};

}  // namespace Vexo::NetManagerStandard
