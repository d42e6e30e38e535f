// This file contains the functions of DistNetService that start and stop the distributed network.
#include <new>

#include "distributed/services/converged/decision/src/converged_decision_manager.h"
#include "distributed/services/link/collaboration.h"
#include "distributed/services/link/soft_bus_adapter.h"
#include "distributed/services/service/distnet_service.h"
#include "distributed/services/service/event_report.h"
#include "distributed/services/service/qu_trace.h"
#include "distributed/services/utils/common_utils.h"
#include "distributed/services/utils/distnet_errors.h"
#include "distributed/services/utils/net_mgr_log_wrapper.h"
#include "platform/ability/ability_ids.h"
#include "platform/collaboration/collaboration_ability.h"

namespace Vexo::NetManagerStandard {
namespace {

using CollaborationFwk::CollaborationAbility;
using CollaborationFwk::TargetInfo;
using DistributedHardware::DeviceManager;

constexpr const char* CONNECT_ERROR_MESSAGE = "AP connect fail, connect error";

EventInfo EventFor(const std::string& networkId)
{
    EventInfo info;
    info.deviceId = CommonUtils::GetAnonymousDeviceID(networkId);
    return info;
}

void ReportStartFailure(EventInfo& info, int32_t errorCode, const std::string& message)
{
    info.errorCode = errorCode;
    info.errorMsg = message;
    EventReport::SendStartDistNetworkFailEvent(info);
}

int32_t WakePeer(const std::string& networkId)
{
    const sptr<TargetInfo> target(new (std::nothrow) TargetInfo(networkId, 0, "", "", COMM_DISTRIBUTED_NET_ABILITY_ID));
    return CollaborationAbility::GetInstance().StartCollaboration(COMM_DISTRIBUTED_NET_ABILITY_ID, target).code;
}

}  // namespace

int32_t DistNetService::StartDistributedNetwork(int32_t first, int32_t second, const std::string& networkId)
{
    if (runningState_ != STATE_RUNNING || !DeviceManager::GetInstance().IsSameAccount(networkId)) {
        // IsSameAccount is not the only cause: this line is also written if the service is not running.
        NETMGR_EXT_LOGE(" IsSameAccount verify failed.");
        return DISTNET_ERR_GENERAL;
    }
    return RunSynchronously(
        [this, first, second, &networkId] { return StartDistributedNetworkAsync(first, second, networkId); });
}

int32_t DistNetService::StartDistributedNetworkAsync(int32_t, int32_t, const std::string& networkId)
{
    const MutexLock lock(startNetworkMutex_);
    const EventInfo info = EventFor(networkId);
    EventReport::SendStartDistNetworkBehaviorEvent(info);
    QuTrace::StartSyncQuTrace("DistNetService StartDistributedNetworkAsync start");
    const int32_t result = SoftBusStartDisNet(networkId);
    if (result != DISTNET_SUCCESS) {
        // A failed start does not finish its trace span, so the span has no end in the trace.
        NETMGR_EXT_LOGE(" SoftBusStartDisNet error");
        return result;
    }
    QuTrace::FinishSyncQuTrace("DistNetService StartDistributedNetworkAsync end");
    EventReport::SendStartDistNetworkSuccessEvent(info);
    return result;
}

int32_t DistNetService::SoftBusStartDisNet(const std::string& networkId)
{
    NETMGR_EXT_LOGI(" SoftBusStartDisNet start");
    EventInfo info = EventFor(networkId);
    const int32_t woken = WakePeer(networkId);
    if (woken != CollaborationFwk::COLLABORATION_OK) {
        NETMGR_EXT_LOGE(" StartCollaboration fail, %{public}d", woken);
        ReportStartFailure(info, HOTSPOT_FAIL_COLLABORATION, CONNECT_ERROR_MESSAGE);
        return DISTNET_ERR_COLLABORATION_START;
    }
    int sessionId = 0;
    if (SoftBusAdapter::GetInstance()->OpenSoftBusSession(networkId, sessionId) != DISTNET_SUCCESS) {
        NETMGR_EXT_LOGE(" OpenSoftBusSession error, %{public}d", sessionId);
        ReportStartFailure(info, HOTSPOT_FAIL_OPEN_SESSION, CONNECT_ERROR_MESSAGE);
        return DISTNET_ERR_LINK;
    }
    const int32_t result = SoftBusAdapter::GetInstance()->SendStartHotspotMessage(sessionId);
    if (result == DISTNET_SUCCESS) {
        return DISTNET_SUCCESS;
    }
    NETMGR_EXT_LOGE(" SendStartHotspotMessage error");
    return ReportHotspotFailure(info, sessionId, result);
}

int32_t DistNetService::CollaborationStartDisNet(const std::string& networkId)
{
    NETMGR_EXT_LOGI(" CollaborationStartDisNet start");
    EventInfo info = EventFor(networkId);
    int sessionId = 0;
    const int32_t started = Collaboration::GetInstance().StartCollaboration(networkId, sessionId);
    if (started != DISTNET_SUCCESS) {
        NETMGR_EXT_LOGE(" StartCollaboration error, %{public}d", started);
        ReportStartFailure(info, HOTSPOT_FAIL_COLLABORATION, CONNECT_ERROR_MESSAGE);
        return DISTNET_ERR_COLLABORATION_START;
    }
    const int32_t result = Collaboration::GetInstance().SendStartHotspotMessage(sessionId);
    if (result == DISTNET_SUCCESS) {
        return DISTNET_SUCCESS;
    }
    NETMGR_EXT_LOGE(" SendStartHotspotMessage error, %{public}d", result);
    return ReportHotspotFailure(info, sessionId, result);
}

int32_t DistNetService::ReportHotspotFailure(EventInfo& info, int32_t sessionId, int32_t result)
{
    info.sessionId = sessionId;
    int32_t eventCode = 0;
    const std::string message = ErrCodeTransToMsg(result, eventCode);
    ReportStartFailure(info, eventCode, message);
    return DISTNET_ERR_LINK;
}

std::string DistNetService::ErrCodeTransToMsg(int32_t errCode, int32_t& eventCode)
{
    switch (errCode) {
        case HOTSPOT_FAIL_PEER:
            eventCode = HOTSPOT_FAIL_PEER;
            return "AP connect fail, save wlan error";
        case HOTSPOT_FAIL_REQUEST_OPEN:
            eventCode = HOTSPOT_FAIL_REQUEST_OPEN;
            return "AP connect fail, request open hotspot error";
        default:
            eventCode = HOTSPOT_FAIL_REQUEST;
            return "AP connect fail, request error";
    }
}

int32_t DistNetService::StopDistributedNetwork(int32_t, int32_t, const std::string&)
{
    NETMGR_EXT_LOGI(" DistNetService::StopDistributedNetwork begin");
    return DISTNET_SUCCESS;
}

void DistNetService::HandleStopDistributedNetwork()
{
    NETMGR_EXT_LOGI(" DistNetService::HandleStopDistributedNetwork begin");
    const auto decisionManager = DecisionManager();
    if (!decisionManager) {
        return;
    }
    uint16_t path = 0;
    int peer = 0;
    decisionManager->ReleasePath(path, peer);
}

int32_t DistNetService::HandleRequestPathTimeout()
{
    NETMGR_EXT_LOGI(" DistNetService::HandleRequestPathTimeout begin");
    TryToLinkFromSoftBus();
    return DISTNET_SUCCESS;
}

int32_t DistNetService::TryToLinkFromSoftBus()
{
    NETMGR_EXT_LOGI(" DistNetService::TryToLinkFromSoftBus begin");
    return DISTNET_SUCCESS;
}

int32_t DistNetService::TryToLinkDirect()
{
    NETMGR_EXT_LOGI(" DistNetService::TryToLinkDirect begin");
    return DISTNET_SUCCESS;
}

int32_t DistNetService::ReportError(int32_t code, const std::string& msg, bool)
{
    NETMGR_EXT_LOGE(" DistNetService::ReportError, code:%{public}d, msg:%{public}s", code, msg);
    return DISTNET_SUCCESS;
}

}  // namespace Vexo::NetManagerStandard
