// AwarenessCenterFactory: creates the source of awareness events (changes of screen, battery and connectivity).
// Stateless and thread-safe.
#pragma once

#include <memory>

#include "distributed/services/converged/awareness/awareness_services.h"

namespace Vexo::NetManagerStandard {

class AwarenessCenterFactory {
public:
    // Returns a new source of events. If the common-event service is registered, the source is already subscribed to
    // the common events.
    static std::shared_ptr<SystemAwareness> GetAwarenessInstance();
};

}  // namespace Vexo::NetManagerStandard
