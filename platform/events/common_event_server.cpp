#include "platform/events/common_event_server.h"

#include <algorithm>

namespace Vexo::EventFwk {

bool CommonEventServer::SubscribeCommonEvent(const std::shared_ptr<CommonEventSubscriber>& subscriber)
{
    if (!subscriber) {
        return false;
    }
    MutexLock lock(mutex_);
    const bool known = std::any_of(subscriptions_.begin(), subscriptions_.end(),
                                   [&](const auto& subscription) { return subscription->subscriber == subscriber; });
    if (known) {
        return false;
    }
    auto subscription = std::make_shared<Subscription>();
    subscription->subscriber = subscriber;
    subscriptions_.push_back(std::move(subscription));
    return true;
}

bool CommonEventServer::UnSubscribeCommonEvent(const std::shared_ptr<CommonEventSubscriber>& subscriber)
{
    // Destroyed after the lock is released, because this pointer may be the last owner of the subscriber.
    std::shared_ptr<Subscription> removed;
    MutexLock lock(mutex_);
    const auto it = std::find_if(subscriptions_.begin(), subscriptions_.end(),
                                 [&](const auto& subscription) { return subscription->subscriber == subscriber; });
    if (it == subscriptions_.end()) {
        return false;
    }
    removed = *it;
    removed->active = false;
    subscriptions_.erase(it);
    return true;
}

bool CommonEventServer::PublishCommonEvent(const CommonEventData& data)
{
    if (data.GetWant().GetAction().empty()) {
        return false;
    }
    const auto event = std::make_shared<const CommonEventData>(data);
    bool accepted = true;
    // The lock is held while the deliveries are posted, so that all subscribers get the events of two publishing
    // threads in the same order.
    MutexLock lock(mutex_);
    for (const auto& subscription : subscriptions_) {
        if (!subscription->subscriber->GetSubscribeInfo().GetMatchingSkills().Match(event->GetWant())) {
            continue;
        }
        accepted = delivery_.Post([subscription, event] {
            if (subscription->active) {
                subscription->subscriber->OnReceiveEvent(*event);
            }
        }) && accepted;
    }
    return accepted;
}

}  // namespace Vexo::EventFwk
