#include "platform/collaboration/collaboration_ability.h"

#include <utility>

#include "platform/ability/iservice_registry.h"
#include "platform/dfx/trace.h"

namespace Vexo::CollaborationFwk {

namespace {

sptr<ICollaborationService> Service()
{
    return FindAbility<ICollaborationService>(COLL_FWK_SA_ID);
}

}  // namespace

TargetInfo::TargetInfo(std::string networkId, uint32_t flags, std::string action, std::string parameters,
                       int32_t systemAbilityId)
    : networkId_(std::move(networkId)),
      flags_(flags),
      action_(std::move(action)),
      parameters_(std::move(parameters)),
      systemAbilityId_(systemAbilityId)
{
}

StartInfo::StartInfo(int32_t sessionId, std::string networkId) : sessionId_(sessionId), networkId_(std::move(networkId))
{
}

CollaborationAbility& CollaborationAbility::GetInstance()
{
    static CollaborationAbility instance;
    return instance;
}

StartResult CollaborationAbility::StartCollaboration(int32_t systemAbilityId, const sptr<TargetInfo>& target)
{
    const TraceSpan span(SpanName::COLLABORATION);
    const auto service = Service();
    return service ? service->StartCollaboration(systemAbilityId, target) : StartResult{COLLABORATION_UNAVAILABLE, 0};
}

int32_t CollaborationAbility::StopCollaboration(int32_t sessionId)
{
    const auto service = Service();
    return service ? service->StopCollaboration(sessionId) : COLLABORATION_UNAVAILABLE;
}

int32_t CollaborationAbility::GetCollaborationStartInfos(int32_t systemAbilityId, std::vector<sptr<StartInfo>>& infos)
{
    const auto service = Service();
    return service ? service->GetCollaborationStartInfos(systemAbilityId, infos) : COLLABORATION_UNAVAILABLE;
}

int32_t CollaborationAbility::RegisterCollaborationDataCallback(int32_t sessionId, const sptr<DataCallback>& callback)
{
    const auto service = Service();
    return service ? service->RegisterCollaborationDataCallback(sessionId, callback) : COLLABORATION_UNAVAILABLE;
}

int32_t CollaborationAbility::UnRegisterCollaborationDataCallback(int32_t sessionId)
{
    const auto service = Service();
    return service ? service->UnRegisterCollaborationDataCallback(sessionId) : COLLABORATION_UNAVAILABLE;
}

int32_t CollaborationAbility::SendCollaborationData(int32_t sessionId, const void* data, uint32_t size)
{
    const auto service = Service();
    return service ? service->SendCollaborationData(sessionId, data, size) : COLLABORATION_UNAVAILABLE;
}

}  // namespace Vexo::CollaborationFwk
