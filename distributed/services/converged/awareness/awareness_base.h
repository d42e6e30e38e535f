// BaseAwareness: the base class of the sources of awareness events (changes of screen, battery and connectivity). A
// source stores its listeners, the event mask of each listener, the events that it offers, and the functions that
// report a current state to a listener. Thread-safe. One lock guards registration, removal and delivery. The source
// holds this lock while it calls a listener, so a listener must not call back into its source. Derived class:
// awareness_services.h.
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

    // Subscribe starts to receive changes from the system, and UnSubscribe stops that.
    virtual void Subscribe() = 0;
    virtual void UnSubscribe() = 0;

    // Adds an event to the events that this source offers.
    void AddAwareEventsToSet(int32_t event);
    // Sets the function that reports the current state of an event to a listener. Does nothing if the event already has
    // a function.
    void AddNotifyNowFuncToMap(int32_t event, const NotifyFunc& func);

    // Returns the events of this source that share a bit with the given mask. Returns 0 if the mask is below 1.
    int32_t GetFilteredEvents(int32_t events);

    // Registers a listener for those events of the mask that this source offers. If the listener is already registered,
    // replaces its mask. Does nothing if the source offers no event of the mask. If isNotifyNow is true, the listener
    // receives the current states before any later event, and before this call returns.
    void AddCallback(const std::shared_ptr<AwarenessCenterCallback>& callback, int32_t events, bool isNotifyNow);
    void RemoveCallback(const std::shared_ptr<AwarenessCenterCallback>& callback);
    // Reports the current state of every event of the mask to one listener. This listener need not be registered.
    void NotifyOnFirstRegister(const std::shared_ptr<AwarenessCenterCallback>& callback, int32_t events);

protected:
    // Calls func for every listener that is registered for the event.
    void NotifyListeners(int32_t event, const NotifyFunc& func);

private:
    int32_t FilterEvents(int32_t events) const REQUIRES(awareMutex_);
    void NotifyCurrentStates(const std::shared_ptr<AwarenessCenterCallback>& callback, int32_t events) const
        REQUIRES(awareMutex_);

    Mutex awareMutex_;
    // Maps each listener to the events for which it is registered.
    std::map<std::shared_ptr<AwarenessCenterCallback>, int32_t> callbackMap_ GUARDED_BY(awareMutex_);
    std::set<int32_t> awareEventSet_ GUARDED_BY(awareMutex_);
    std::unordered_map<int32_t, NotifyFunc> notifyNowFuncMap_ GUARDED_BY(awareMutex_);
};

}  // namespace Vexo::NetManagerStandard
