// DistNetEventHandler: dispatches the service's numeric events by id. ProcessEvent runs on the thread of the runner
// that the constructor receives (platform/eventloop/event_handler.h). The handler does not own the service. The service
// must live longer than the handler.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/eventloop/event_handler.h"

namespace Vexo::NetManagerStandard {

class DistNetService;

inline constexpr uint32_t EVENT_REQUEST_PATH_TIMEOUT = 2;
inline constexpr uint32_t EVENT_STOP_DISTRIBUTED_NETWORK = 3;

class DistNetEventHandler : public AppExecFwk::EventHandler {
public:
    // service: may be null; the handler then ignores every event.
    DistNetEventHandler(const std::shared_ptr<AppExecFwk::EventRunner>& runner, DistNetService* service);

    // Ignores a null event and an event with an unknown id.
    void ProcessEvent(const AppExecFwk::InnerEvent::Pointer& event) override;

private:
    DistNetService* const service_;
};

}  // namespace Vexo::NetManagerStandard
