#include "distributed/services/converged/decision/src/converged_decision_manager.h"

#include "distributed/services/converged/decision/src/decision_center.h"

namespace Vexo::NetManagerStandard {

void ConvergedDecisionManager::Init()
{
    InnerInitFirstStage();
}

void ConvergedDecisionManager::InnerInitFirstStage()
{
    DecisionCenter::GetInstance()->InitDecisionCenter();
}

void ConvergedDecisionManager::DeInit()
{
    InnerDeInit();
}

void ConvergedDecisionManager::InnerDeInit() {}

int32_t ConvergedDecisionManager::RequestPath(uint16_t& pathType, int& pathId)
{
    return DecisionCenter::GetInstance()->RequestPath(pathType, pathId);
}

int32_t ConvergedDecisionManager::ReleasePath(uint16_t& pathType, int& pathId)
{
    return DecisionCenter::GetInstance()->ReleasePath(pathType, pathId);
}

}  // namespace Vexo::NetManagerStandard
