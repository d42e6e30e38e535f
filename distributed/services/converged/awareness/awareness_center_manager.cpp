#include "distributed/services/converged/awareness/awareness_center_manager.h"

#include <new>
#include <utility>

#include "distributed/services/converged/awareness/awareness_center_factory.h"
#include "distributed/services/link/collaboration.h"
#include "distributed/services/link/device_manager_adapter.h"
#include "distributed/services/link/soft_bus_adapter.h"
#include "distributed/services/utils/distnet_errors.h"
#include "distributed/services/utils/net_mgr_log_wrapper.h"
#include "distributed/services/utils/singleton.h"
#include "platform/ability/iservice_registry.h"

namespace Vexo::NetManagerStandard {

NeverDestroyed<std::shared_ptr<AwarenessCenterManager>> AwarenessCenterManager::instance_;
Mutex AwarenessCenterManager::instanceLock_;
std::atomic<bool> AwarenessCenterManager::isInstanceCreated_{false};

std::shared_ptr<AwarenessCenterInterface> AwarenessCenterInterface::GetInstance()
{
    return AwarenessCenterManager::GetInstance();
}

std::shared_ptr<AwarenessCenterManager> AwarenessCenterManager::GetInstance()
{
    return GetOrCreateInstance(instance_, instanceLock_, isInstanceCreated_);
}

void AwarenessCenterManager::InitAwarenessCenter()
{
    NETMGR_EXT_LOGI(" InitAwarenessCenter");
    InitSubAwarenessInstance();
    InitSysAbilityStatusListener();
}

void AwarenessCenterManager::InitSubAwarenessInstance()
{
    std::shared_ptr<SystemAwareness> source = AwarenessCenterFactory::GetAwarenessInstance();
    if (source != nullptr) {
        const MutexLock guard(stateMutex_);
        systemAwareness_.swap(source);  // the previous source is destroyed after unlocking
    }
}

void AwarenessCenterManager::InitSysAbilityStatusListener()
{
    {
        const MutexLock guard(stateMutex_);
        if (statusListener_ != nullptr) {
            return;
        }
        statusListener_ = sptr<SystemAbilityStatusListener>(new (std::nothrow) SystemAbilityStatusListener());
        if (statusListener_ == nullptr) {
            NETMGR_EXT_LOGE(" InitSysAbilityStatusListener failed.");
            return;
        }
    }
    InitHandleSysAbilityMap();
    AddServiceIdListener();
}

void AwarenessCenterManager::InitHandleSysAbilityMap()
{
    using Manager = AwarenessCenterManager;
    sysAbilityAddedHandleMap_ = {
        {COMMON_EVENT_SERVICE_ID, &Manager::HandleCommonEventServiceAdded},
        {SOFTBUS_SERVER_SA_ID, &Manager::HandleSoftBusServiceAdded},
        {DISTRIBUTED_HARDWARE_DEVICEMANAGER_SA_ID, &Manager::HandleDeviceManagerServiceAdded},
        {COLL_FWK_SA_ID, &Manager::HandleCollFwkServiceAdded},
    };
    sysAbilityRemovedHandleMap_ = {
        {COMMON_EVENT_SERVICE_ID, &Manager::HandleCommonEventServiceRemoved},
        {SOFTBUS_SERVER_SA_ID, &Manager::HandleSoftBusServiceRemoved},
        {DISTRIBUTED_HARDWARE_DEVICEMANAGER_SA_ID, &Manager::HandleDeviceManagerServiceRemoved},
        {COLL_FWK_SA_ID, &Manager::HandleCollFwkServiceRemoved},
    };
}

void AwarenessCenterManager::AddServiceIdListener()
{
    const sptr<ISystemAbilityManager> samgrClient = SystemAbilityManagerClient::GetInstance().GetSystemAbilityManager();
    if (samgrClient == nullptr) {
        NETMGR_EXT_LOGE(" samgrClient is null.");
        return;
    }
    NETMGR_EXT_LOGI(" AddServiceIdListener.");
    sptr<SystemAbilityStatusListener> listener;
    {
        const MutexLock guard(stateMutex_);
        listener = statusListener_;
    }
    if (samgrClient->SubscribeSystemAbility(COMMON_EVENT_SERVICE_ID, listener) != ERR_OK) {
        NETMGR_EXT_LOGE(" subscribe COMMON_EVENT_SERVICE_ID failed");
    }
    if (samgrClient->SubscribeSystemAbility(SOFTBUS_SERVER_SA_ID, listener) != ERR_OK) {
        NETMGR_EXT_LOGE(" subscribe SOFTBUS_SERVER_SA_ID failed");
    }
    if (samgrClient->SubscribeSystemAbility(DISTRIBUTED_HARDWARE_DEVICEMANAGER_SA_ID, listener) != ERR_OK) {
        NETMGR_EXT_LOGE(" subscribe DISTRIBUTED_HARDWARE_DEVICEMANAGER_SA_ID failed");
    }
    if (samgrClient->SubscribeSystemAbility(COLL_FWK_SA_ID, listener) != ERR_OK) {
        NETMGR_EXT_LOGE(" subscribe COLL_FWK_SA_ID failed");
    }
}

int32_t AwarenessCenterManager::Listen(const std::shared_ptr<AwarenessCenterCallback>& callback, int32_t events,
                                       bool isNotifyNow)
{
    if (events <= 0 || callback == nullptr) {
        return DISTNET_ERR_AWARENESS_ARGUMENT;
    }
    Source()->AddCallback(callback, events, isNotifyNow);
    return DISTNET_SUCCESS;
}

int32_t AwarenessCenterManager::UnListen(const std::shared_ptr<AwarenessCenterCallback>& callback)
{
    if (callback == nullptr) {
        return DISTNET_ERR_AWARENESS_ARGUMENT;
    }
    Source()->RemoveCallback(callback);
    return DISTNET_SUCCESS;
}

int32_t AwarenessCenterManager::GetCurrentNetInfo(NetInfo& info)
{
    const std::shared_ptr<SystemAwareness> source = Source();
    return source != nullptr ? source->GetCurrentNetInfo(info) : DISTNET_ERR_NO_NET_INFO;
}

SystemAwareness* AwarenessCenterManager::GetSystemAwarenessInstance()
{
    return Source().get();
}

std::shared_ptr<SystemAwareness> AwarenessCenterManager::Source()
{
    const MutexLock guard(stateMutex_);
    return systemAwareness_;
}

void AwarenessCenterManager::HandleCommonEventServiceAdded()
{
    NETMGR_EXT_LOGI(" HandleCommonEventServiceAdded enter");
    if (const std::shared_ptr<SystemAwareness> source = Source(); source != nullptr) {
        source->Subscribe();
        NETMGR_EXT_LOGI(" HandleCommonEventServiceAdded Subscribe.");
    }
}

void AwarenessCenterManager::HandleCommonEventServiceRemoved()
{
    if (const std::shared_ptr<SystemAwareness> source = Source(); source != nullptr) {
        source->UnSubscribe();
        // HandleCommonEventServiceAdded writes the same log line, so the log does not show which handler ran.
        NETMGR_EXT_LOGI(" HandleCommonEventServiceAdded Subscribe.");
    }
}

void AwarenessCenterManager::HandleSoftBusServiceAdded()
{
    NETMGR_EXT_LOGI(" HandleSoftBusServiceAdded");
    InitSoftbusAdapter();
}

void AwarenessCenterManager::HandleDeviceManagerServiceAdded()
{
    NETMGR_EXT_LOGI(" HandleDeviceManagerServiceAdded");
    InitDmAdapter();
}

void AwarenessCenterManager::HandleCollFwkServiceAdded()
{
    Collaboration::GetInstance().InitCollaboration();
}

void AwarenessCenterManager::InitSoftbusAdapter()
{
    NETMGR_EXT_LOGI(" InitSoftbusAdapter.");
    SoftBusAdapter::GetInstance()->CreateSoftBusSessionServer();
}

void AwarenessCenterManager::InitDmAdapter()
{
    NETMGR_EXT_LOGI(" InitDmAdapter.");
    DeviceManagerAdapter::GetInstance()->Init();
}

void AwarenessCenterManager::SystemAbilityStatusListener::OnAddSystemAbility(int32_t systemAbilityId,
                                                                             const std::string&)
{
    RunHandle(&AwarenessCenterManager::sysAbilityAddedHandleMap_, systemAbilityId);
}

void AwarenessCenterManager::SystemAbilityStatusListener::OnRemoveSystemAbility(int32_t systemAbilityId,
                                                                                const std::string&)
{
    RunHandle(&AwarenessCenterManager::sysAbilityRemovedHandleMap_, systemAbilityId);
}

void AwarenessCenterManager::SystemAbilityStatusListener::RunHandle(SysAbilityHandleMap AwarenessCenterManager::*map,
                                                                    int32_t systemAbilityId)
{
    const std::shared_ptr<AwarenessCenterManager> manager = AwarenessCenterManager::GetInstance();
    const SysAbilityHandleMap& handles = (*manager).*map;
    const auto it = handles.find(systemAbilityId);
    if (it == handles.end()) {
        return;
    }
    const SysAbilityHandle handle = it->second;
    if (handle) {
        handle(manager.get());
    }
}

}  // namespace Vexo::NetManagerStandard
