#include "platform/ability/status_listeners.h"

#include "platform/dfx/log.h"

namespace Vexo {
namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "Ability"};

}  // namespace

bool StatusListeners::Add(int32_t systemAbilityId, const sptr<ISystemAbilityStatusChange>& listener)
{
    Listener& entry = listeners_[listener.GetRefPtr()];
    if (!entry.strand) {
        entry.object = listener;
        entry.strand = std::make_unique<Tasks::Strand>();
    }
    return entry.subscriptions.emplace(systemAbilityId, std::make_shared<std::atomic<bool>>(true)).second;
}

bool StatusListeners::Remove(int32_t systemAbilityId, const sptr<ISystemAbilityStatusChange>& listener)
{
    const auto entry = listeners_.find(listener.GetRefPtr());
    if (entry == listeners_.end()) {
        return false;
    }
    const auto subscription = entry->second.subscriptions.find(systemAbilityId);
    if (subscription == entry->second.subscriptions.end()) {
        return false;
    }
    *subscription->second = false;
    entry->second.subscriptions.erase(subscription);
    if (entry->second.subscriptions.empty()) {
        listeners_.erase(entry);
    }
    return true;
}

void StatusListeners::Notify(int32_t systemAbilityId, Event event) const
{
    for (const auto& [object, listener] : listeners_) {
        Post(listener, systemAbilityId, event);
    }
}

void StatusListeners::NotifyOne(int32_t systemAbilityId, Event event,
                                const sptr<ISystemAbilityStatusChange>& listener) const
{
    const auto entry = listeners_.find(listener.GetRefPtr());
    if (entry != listeners_.end()) {
        Post(entry->second, systemAbilityId, event);
    }
}

void StatusListeners::Post(const Listener& listener, int32_t systemAbilityId, Event event)
{
    const auto subscription = listener.subscriptions.find(systemAbilityId);
    if (subscription == listener.subscriptions.end()) {
        return;
    }
    const bool posted =
        listener.strand->Post([object = listener.object, active = subscription->second, systemAbilityId, event] {
            if (!*active) {
                return;
            }
            if (event == Event::ADDED) {
                object->OnAddSystemAbility(systemAbilityId, {});
            } else {
                object->OnRemoveSystemAbility(systemAbilityId, {});
            }
        });
    if (!posted) {
        QuviewDFX::LogError(LABEL, "a listener was not notified of ability %{public}d: too much work is queued",
                            systemAbilityId);
    }
}

}  // namespace Vexo
