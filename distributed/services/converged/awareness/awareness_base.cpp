#include "distributed/services/converged/awareness/awareness_base.h"

#include "distributed/services/utils/net_mgr_log_wrapper.h"

namespace Vexo::NetManagerStandard {

void BaseAwareness::AddAwareEventsToSet(int32_t event)
{
    const MutexLock guard(awareMutex_);
    awareEventSet_.insert(event);
}

void BaseAwareness::AddNotifyNowFuncToMap(int32_t event, const NotifyFunc& func)
{
    const MutexLock guard(awareMutex_);
    notifyNowFuncMap_.try_emplace(event, func);
}

int32_t BaseAwareness::GetFilteredEvents(int32_t events)
{
    const MutexLock guard(awareMutex_);
    return FilterEvents(events);
}

void BaseAwareness::AddCallback(const std::shared_ptr<AwarenessCenterCallback>& callback, int32_t events,
                                bool isNotifyNow)
{
    const MutexLock guard(awareMutex_);
    const int32_t filtered = FilterEvents(events);
    if (filtered < 1) {
        return;
    }
    callbackMap_[callback] = filtered;
    if (isNotifyNow) {
        NotifyCurrentStates(callback, filtered);
    }
    NETMGR_EXT_LOGI(" register events[%{public}d] callback success.", filtered);
}

void BaseAwareness::RemoveCallback(const std::shared_ptr<AwarenessCenterCallback>& callback)
{
    const MutexLock guard(awareMutex_);
    callbackMap_.erase(callback);
}

void BaseAwareness::NotifyOnFirstRegister(const std::shared_ptr<AwarenessCenterCallback>& callback, int32_t events)
{
    const MutexLock guard(awareMutex_);
    NotifyCurrentStates(callback, events);
}

void BaseAwareness::NotifyListeners(int32_t event, const NotifyFunc& func)
{
    const MutexLock guard(awareMutex_);
    for (const auto& [callback, events] : callbackMap_) {
        if (callback != nullptr && (events & event) != 0) {
            func(callback);
        }
    }
}

int32_t BaseAwareness::FilterEvents(int32_t events) const
{
    int32_t filtered = 0;
    if (events >= 1) {
        for (const int32_t event : awareEventSet_) {
            // Adds all bits of this event, also the bits that the mask does not contain.
            filtered |= (event & events) != 0 ? event : 0;
        }
    }
    return filtered;
}

void BaseAwareness::NotifyCurrentStates(const std::shared_ptr<AwarenessCenterCallback>& callback, int32_t events) const
{
    for (const auto& [event, notify] : notifyNowFuncMap_) {
        if ((event & events) != 0) {
            notify(callback);
        }
    }
}

}  // namespace Vexo::NetManagerStandard
