#include "distributed/services/service/distnet_event_handler.h"

#include "distributed/services/service/distnet_service.h"

namespace Vexo::NetManagerStandard {

DistNetEventHandler::DistNetEventHandler(const std::shared_ptr<AppExecFwk::EventRunner>& runner,
                                         DistNetService* service)
    : AppExecFwk::EventHandler(runner), service_(service)
{
}

void DistNetEventHandler::ProcessEvent(const AppExecFwk::InnerEvent::Pointer& event)
{
    if (!event || service_ == nullptr) {
        return;
    }
    switch (event->GetInnerEventId()) {
        case EVENT_REQUEST_PATH_TIMEOUT:
            service_->HandleRequestPathTimeout();
            break;
        case EVENT_STOP_DISTRIBUTED_NETWORK:
            service_->HandleStopDistributedNetwork();
            break;
        default:
            break;
    }
}

}  // namespace Vexo::NetManagerStandard
