// ConvergedDecisionManager: the service's access to the decision center (decision_center.h). It starts the decision
// center and forwards path requests and releases. Stateless; any thread. Only the first Init blocks: it reads the
// configuration files.
#pragma once

#include <cstdint>

namespace Vexo::NetManagerStandard {

class ConvergedDecisionManager {
public:
    // Init and InnerInitFirstStage start the decision center. Further calls do nothing.
    void Init();
    void InnerInitFirstStage();

    // DeInit and InnerDeInit do nothing: the decision center lives as long as the process.
    void DeInit();
    void InnerDeInit();

    // Same results as in DecisionCenter; the arguments are not changed.
    int32_t RequestPath(uint16_t& pathType, int& pathId);
    int32_t ReleasePath(uint16_t& pathType, int& pathId);
};

}  // namespace Vexo::NetManagerStandard
