#include "platform/events/common_event_manager.h"

#include "platform/ability/iservice_registry.h"

namespace Vexo::EventFwk {

bool CommonEventManager::SubscribeCommonEvent(const std::shared_ptr<CommonEventSubscriber>& subscriber)
{
    const auto service = FindAbility<ICommonEventService>(COMMON_EVENT_SERVICE_ID);
    return service && service->SubscribeCommonEvent(subscriber);
}

bool CommonEventManager::UnSubscribeCommonEvent(const std::shared_ptr<CommonEventSubscriber>& subscriber)
{
    const auto service = FindAbility<ICommonEventService>(COMMON_EVENT_SERVICE_ID);
    return service && service->UnSubscribeCommonEvent(subscriber);
}

bool CommonEventManager::PublishCommonEvent(const CommonEventData& data)
{
    const auto service = FindAbility<ICommonEventService>(COMMON_EVENT_SERVICE_ID);
    return service && service->PublishCommonEvent(data);
}

}  // namespace Vexo::EventFwk
