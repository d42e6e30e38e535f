// ConvergedDecisionManager: the front of the decision subsystem that the service holds. It starts the decision center
// (decision_center.h) and forwards path requests and releases to it. Stateless; any thread; nothing blocks but the
// first Init, which reads the configuration files.
#pragma once

#include <cstdint>

namespace Vexo::NetManagerStandard {

class ConvergedDecisionManager {
public:
    // Both start the decision center; repeated calls are harmless.
    void Init();
    void InnerInitFirstStage();

    // Both do nothing: the decision center lives as long as the process.
    void DeInit();
    void InnerDeInit();

    // Results as of DecisionCenter; the references come back as the caller set them.
    int32_t RequestPath(uint16_t& pathType, int& pathId);
    int32_t ReleasePath(uint16_t& pathType, int& pathId);
};

}  // namespace Vexo::NetManagerStandard
