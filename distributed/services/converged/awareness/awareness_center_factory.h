// AwarenessCenterFactory: creates the source of awareness events. Stateless; any thread.
#pragma once

#include <memory>

#include "distributed/services/converged/awareness/awareness_services.h"

namespace Vexo::NetManagerStandard {

class AwarenessCenterFactory {
public:
    // Returns a new source. It is subscribed to the common events if their service is registered.
    static std::shared_ptr<SystemAwareness> GetAwarenessInstance();
};

}  // namespace Vexo::NetManagerStandard
