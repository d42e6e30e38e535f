// AwarenessCenterFactory: makes the source of awareness events. Stateless; any thread.
#pragma once

#include <memory>

#include "distributed/services/converged/awareness/awareness_services.h"

namespace Vexo::NetManagerStandard {

class AwarenessCenterFactory {
public:
    // A new source, which has subscribed to the common events if their service is there.
    static std::shared_ptr<SystemAwareness> GetAwarenessInstance();
};

}  // namespace Vexo::NetManagerStandard
