// ConvergedDecisionManager: the service's access to the decision center (decision_center.h). It starts the decision
// center and forwards requests and releases of network paths. Stateless and thread-safe. Only the first Init blocks,
// because it reads the configuration files.
#pragma once

#include <cstdint>

namespace Vexo::NetManagerStandard {

class ConvergedDecisionManager {
public:
    // Init and InnerInitFirstStage start the decision center. Further calls do nothing.
    void Init();
    void InnerInitFirstStage();

    // DeInit and InnerDeInit do nothing, because the decision center lives as long as the process.
    void DeInit();
    void InnerDeInit();

    // RequestPath and ReleasePath call the functions of DecisionCenter with the same names. Those functions always fail
    // and do not change their arguments.
    int32_t RequestPath(uint16_t& pathType, int& pathId);
    int32_t ReleasePath(uint16_t& pathType, int& pathId);
};

}  // namespace Vexo::NetManagerStandard
