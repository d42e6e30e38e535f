#include "distributed/services/converged/awareness/awareness_center_factory.h"

namespace Vexo::NetManagerStandard {

std::shared_ptr<SystemAwareness> AwarenessCenterFactory::GetAwarenessInstance()
{
    return std::make_shared<SystemAwareness>();
}

}  // namespace Vexo::NetManagerStandard
