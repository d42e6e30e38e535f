#include "distributed/services/service/distnet_service.h"

#include "distributed/services/converged/decision/src/converged_decision_manager.h"
#include "distributed/services/utils/distnet_errors.h"
#include "distributed/services/utils/net_mgr_log_wrapper.h"
#include "platform/ability/iservice_registry.h"

namespace Vexo::NetManagerStandard {
namespace {

const bool isRegisteredToLocalSa = SystemAbility::MakeAndRegisterAbility(&DistNetService::GetInstance());

}  // namespace

DistNetService::DistNetService() : SystemAbility(COMM_DISTRIBUTED_NET_ABILITY_ID, true)
{
    // The object is not on the heap, so it must never be deleted. IncStrongRef adds a reference that is never released.
    IncStrongRef();
}

DistNetService& DistNetService::GetInstance()
{
    static NeverDestroyed<DistNetService> service;
    return service.value;
}

void DistNetService::OnStart()
{
    NETMGR_EXT_LOGI(" DistNetService::OnStart begin");
    if (runningState_ != STATE_STOPPED) {
        NETMGR_EXT_LOGI(" the state is already running");
        return;
    }
    if (!Init()) {
        NETMGR_EXT_LOGE(" init failed");
        return;
    }
    runningState_ = STATE_RUNNING;
    NETMGR_EXT_LOGI(" DistNetService::OnStart end");
}

void DistNetService::OnStop()
{
    NETMGR_EXT_LOGI(" DistNetService::OnStop begin");
    if (runningState_ == STATE_STOPPED) {
        return;
    }
    runningState_ = STATE_STOPPED;
    isInitialized_ = false;
    NETMGR_EXT_LOGI(" DistNetService::OnStop end");
}

bool DistNetService::Init()
{
    if (!isRegisteredToLocalSa) {
        NETMGR_EXT_LOGE(" Register to local sa manager failed");
        isInitialized_ = false;
        return false;
    }
    if (isInitialized_) {
        return true;
    }
    if (!Publish(AsObject())) {
        NETMGR_EXT_LOGE(" Register to sa manager failed");
        return false;
    }
    const auto manager = std::make_shared<ConvergedDecisionManager>();
    {
        const MutexLock lock(decisionManagerMutex_);
        decisionManager_ = manager;
    }
    FFRTUtils::SubmitTask([manager] { manager->Init(); });
    isInitialized_ = true;
    return true;
}

std::shared_ptr<ConvergedDecisionManager> DistNetService::DecisionManager()
{
    const MutexLock lock(decisionManagerMutex_);
    return decisionManager_;
}

int32_t DistNetService::RunSynchronously(const std::function<int32_t()>& body)
{
    int32_t result = DISTNET_ERR_GENERAL;
    FFRTUtils::SubmitTaskSync([&body, &result] { result = body(); });
    return result;
}

int32_t DistNetService::StartService(uint32_t& state)
{
    return RunSynchronously([this, &state] { return StartServiceAsync(state); });
}

int32_t DistNetService::StartServiceAsync(uint32_t& state)
{
    state = static_cast<uint32_t>(GetAbilityState());
    return DISTNET_SUCCESS;
}

int32_t DistNetService::ReleaseService(uint32_t& state)
{
    return RunSynchronously([this, &state] { return ReleaseServiceAsync(state); });
}

int32_t DistNetService::ReleaseServiceAsync(uint32_t& state)
{
    if (HasClients()) {
        return DISTNET_SUCCESS;
    }
    const sptr<ISystemAbilityManager> manager = SystemAbilityManagerClient::GetInstance().GetSystemAbilityManager();
    if (!manager) {
        NETMGR_EXT_LOGE(" ReleaseServiceAsync failed");
        return DISTNET_ERR_GENERAL;
    }
    const int32_t ret = manager->UnloadSystemAbility(COMM_DISTRIBUTED_NET_ABILITY_ID);
    if (ret != ERR_OK) {
        NETMGR_EXT_LOGE(" UnloadSystemAbility Failed. %{public}d", ret);
        return DISTNET_ERR_GENERAL;
    }
    if (const auto decisionManager = DecisionManager()) {
        decisionManager->DeInit();
    }
    state = static_cast<uint32_t>(GetAbilityState());
    return DISTNET_SUCCESS;
}

}  // namespace Vexo::NetManagerStandard
