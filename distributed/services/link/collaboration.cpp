#include "distributed/services/link/collaboration.h"

#include <algorithm>
#include <new>
#include <vector>

#include "distributed/services/link/collaboration_listener.h"
#include "distributed/services/link/link_message.h"
#include "distributed/services/utils/distnet_errors.h"
#include "distributed/services/utils/net_mgr_log_wrapper.h"
#include "platform/ability/ability_ids.h"
#include "platform/collaboration/collaboration_ability.h"

namespace Vexo::NetManagerStandard {

using CollaborationFwk::COLLABORATION_OK;
using CollaborationFwk::CollaborationAbility;
using CollaborationFwk::StartInfo;
using CollaborationFwk::TargetInfo;

void CollaborationCallback::OnDataReceived(int sessionId, const char* data, unsigned int len)
{
    CollaborationListener::GetInstance().DataReceived(sessionId, data, len);
}

void CollaborationCallback::OnDataReceiverReady(int sessionId)
{
    Collaboration::GetInstance().SetReceiverReady(sessionId);
}

Collaboration& Collaboration::GetInstance()
{
    static NeverDestroyed<Collaboration> instance;
    return instance.value;
}

Collaboration::Collaboration()
{
    NETMGR_EXT_LOGI(" create Collaboration object success");
}

Collaboration::~Collaboration()
{
    NETMGR_EXT_LOGE(" Collaboration destructed");
}

void Collaboration::InitCollaboration()
{
    NETMGR_EXT_LOGI(" InitCollaboration start");
    CollaborationListener::GetInstance().InitHandleMessageMap();
    std::map<int32_t, bool> ready;
    {
        const MutexLock lock(readyEntriesMutex_);
        ready = receiverReady_;
    }
    std::vector<sptr<StartInfo>> infos;
    int32_t ret =
        CollaborationAbility::GetInstance().GetCollaborationStartInfos(COMM_DISTRIBUTED_NET_ABILITY_ID, infos);
    if (ret != COLLABORATION_OK) {
        NETMGR_EXT_LOGE(" GetCollaborationStartInfos fail, %{public}d", ret);
        return;
    }
    {
        // Remove the entries of collaborations that a peer has stopped. StopCollaboration removes only the entries of
        // collaborations that this device stops.
        const MutexLock lock(readyEntriesMutex_);
        std::erase_if(receiverReady_, [&](const auto& entry) {
            return ready.count(entry.first) != 0 &&
                   std::none_of(infos.begin(), infos.end(), [&](const sptr<StartInfo>& info) {
                       return info->GetCollaborationSessionId() == entry.first;
                   });
        });
    }
    for (const sptr<StartInfo>& info : infos) {
        const int32_t sessionId = info->GetCollaborationSessionId();
        ret = CollaborationAbility::GetInstance().RegisterCollaborationDataCallback(sessionId,
                                                                                    MakeSptr<CollaborationCallback>());
        if (ret != COLLABORATION_OK) {
            NETMGR_EXT_LOGE(" RegisterCollaborationDataCallback fail, %{public}d", ret);
            return;
        }
        NETMGR_EXT_LOGI(" RegisterCollaborationDataCallback sessionId: %{public}d", sessionId);
    }
}

int32_t Collaboration::StartCollaboration(const std::string& deviceId, int& sessionId)
{
    const sptr<TargetInfo> target(new (std::nothrow) TargetInfo(deviceId, 0, "", "", COMM_DISTRIBUTED_NET_ABILITY_ID));
    const auto started =
        CollaborationAbility::GetInstance().StartCollaboration(COMM_DISTRIBUTED_NET_ABILITY_ID, target);
    if (started.code != COLLABORATION_OK) {
        NETMGR_EXT_LOGE(" StartCollaboration fail, %{public}d", started.code);
        return started.code;
    }
    sessionId = started.sessionId;
    return DISTNET_SUCCESS;
}

int32_t Collaboration::StopCollaboration(int sessionId)
{
    NETMGR_EXT_LOGI(" UnRegisterCollaborationDataCallback start");
    int32_t ret = CollaborationAbility::GetInstance().UnRegisterCollaborationDataCallback(sessionId);
    if (ret != COLLABORATION_OK) {
        NETMGR_EXT_LOGE(" UnRegisterCollaborationDataCallback fail, %{public}d", ret);
        return ret;
    }
    {
        const MutexLock lock(readyEntriesMutex_);
        receiverReady_.erase(sessionId);
    }
    NETMGR_EXT_LOGI(" StopCollaboration start");
    ret = CollaborationAbility::GetInstance().StopCollaboration(sessionId);
    if (ret != COLLABORATION_OK) {
        NETMGR_EXT_LOGE(" StopCollaboration fail, %{public}d", ret);
        return ret;
    }
    NETMGR_EXT_LOGI(" StopCollaboration success");
    return DISTNET_SUCCESS;
}

bool Collaboration::ClaimAnswer(int sessionId)
{
    return hotspotAnswer_.Claim(sessionId);
}

void Collaboration::StopCollaborationCondition(int sessionId, int result)
{
    hotspotAnswer_.Post(sessionId, result, [this, sessionId] {
        NETMGR_EXT_LOGI(" StopCollaborationCondition, sessionId = %{public}d", sessionId);
        StopCollaboration(sessionId);
    });
}

void Collaboration::SetReceiverReady(int sessionId)
{
    const MutexLock lock(receiverMutex_);
    NETMGR_EXT_LOGI(" SetReceiverReady, sessionId: %{public}d", sessionId);
    {
        const MutexLock entries(readyEntriesMutex_);
        receiverReady_.emplace(sessionId, true);
    }
    receiverCondition_.NotifyAll();
}

bool Collaboration::GetReceiverReady(int sessionId)
{
    NETMGR_EXT_LOGI(" GetReceiverReady, sessionId: %{public}d", sessionId);
    bool ready = false;
    {
        const MutexLock lock(readyEntriesMutex_);
        const auto entry = receiverReady_.find(sessionId);
        if (entry == receiverReady_.end()) {
            return false;
        }
        ready = entry->second;
    }
    NETMGR_EXT_LOGI(" GetReceiverReady success, sessionId: %{public}d", sessionId);
    return ready;
}

int32_t Collaboration::SendStartHotspotMessage(int sessionId)
{
    const MutexLock lock(receiverMutex_);
    NETMGR_EXT_LOGI(" SendStartHotspotMessage RegisterCollaborationDataCallback start");
    const int32_t ret = CollaborationAbility::GetInstance().RegisterCollaborationDataCallback(
        sessionId, MakeSptr<CollaborationCallback>());
    if (ret != COLLABORATION_OK) {
        NETMGR_EXT_LOGE(" RegisterCollaborationDataCallback fail, %{public}d", ret);
        return ret;
    }
    NETMGR_EXT_LOGI(" SendStartHotspotMessage callback wait, sessionId: %{public}d", sessionId);
    const bool isReady = receiverCondition_.WaitFor(
        receiverMutex_, RECEIVER_READY_WAIT, [&]() REQUIRES(receiverMutex_) { return GetReceiverReady(sessionId); });
    if (!isReady) {
        NETMGR_EXT_LOGE(" SendStartHotspotMessage callback wait over time");
        return DISTNET_ERR_HOTSPOT_TIMEOUT;
    }
    return RequestHotspot(sessionId);
}

int32_t Collaboration::RequestHotspot(int sessionId)
{
    const AwaitedAnswer::Request waiting(hotspotAnswer_, sessionId);
    const MessageTlvStartHotspotRequest request;
    NETMGR_EXT_LOGI(" SendStartHotspotMessage request: %{public}d", static_cast<int32_t>(request.type));
    const int32_t ret =
        CollaborationAbility::GetInstance().SendCollaborationData(sessionId, request.getBytes().get(), sizeof(request));
    if (ret != COLLABORATION_OK) {
        NETMGR_EXT_LOGE(" SendCollaborationData fail, errorCode:%{public}d", ret);
        return DISTNET_ERR_SEND;
    }
    NETMGR_EXT_LOGI(" SendStartHotspotMessage wait");
    const std::optional<int32_t> result = hotspotAnswer_.WaitForResult(COLLABORATION_ANSWER_WAIT);
    if (!result) {
        NETMGR_EXT_LOGE(" SendStartHotspotMessage wait over time");
        return DISTNET_ERR_HOTSPOT_TIMEOUT;
    }
    NETMGR_EXT_LOGI(" SendStartHotspotMessage result: %{public}d", *result);
    return *result;
}

}  // namespace Vexo::NetManagerStandard
