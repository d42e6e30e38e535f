#include "distributed/services/converged/awareness/awareness_services.h"

#include <functional>
#include <utility>

#include "distributed/services/utils/distnet_errors.h"
#include "distributed/services/utils/ffrt_utils.h"
#include "distributed/services/utils/net_mgr_log_wrapper.h"
#include "platform/ability/iservice_registry.h"
#include "platform/events/common_event_manager.h"
#include "platform/events/common_event_support.h"

namespace Vexo::NetManagerStandard {

using EventFwk::CommonEventData;
using EventFwk::CommonEventManager;
using EventFwk::CommonEventSupport;

namespace {

constexpr int32_t NO_NET_TYPE = -1;

bool IsCommonEventServicePresent()
{
    const sptr<ISystemAbilityManager> manager = SystemAbilityManagerClient::GetInstance().GetSystemAbilityManager();
    return manager != nullptr && manager->GetSystemAbility(COMMON_EVENT_SERVICE_ID) != nullptr;
}

bool IsKnownNetType(int netType)
{
    return static_cast<uint32_t>(netType) < NET_TYPE_COUNT;
}

}  // namespace

const std::shared_ptr<AppExecFwk::EventRunner> SystemAwareness::eventRunner_;

class SystemAwareness::EventGate {
public:
    // Runs the handler, or does nothing if the gate is closed. Several handlers may run at the same time.
    void Run(const std::function<void()>& handler)
    {
        const ReaderLock guard(mutex_);
        if (isOpen_) {
            handler();
        }
    }

    // Closes the gate and waits until the running handlers have finished. After that no handler starts.
    void Close()
    {
        const WriterLock guard(mutex_);
        isOpen_ = false;
    }

private:
    SharedMutex mutex_;
    bool isOpen_ GUARDED_BY(mutex_) = true;
};

SystemAwareness::SysAwareSubscriber::SysAwareSubscriber(const EventFwk::CommonEventSubscribeInfo& info,
                                                        SystemAwareness* owner)
    : CommonEventSubscriber(info), owner_(owner), gate_(owner->gate_)
{
}

void SystemAwareness::SysAwareSubscriber::OnReceiveEvent(const CommonEventData& data)
{
    FFRTUtils::SubmitTask(
        [gate = gate_, owner = owner_, data] { gate->Run([owner, &data] { owner->HandleSystemEvent(data); }); });
    NETMGR_EXT_LOGI(" SysAwareSubscriber:OnReceiveEvent done");
}

SystemAwareness::SystemAwareness() : gate_(std::make_shared<EventGate>())
{
    InitSysEventsSet();
    InitSystemNotifyNowMap();
    InitSystemEventHandleMap();
    InitSubscribedEventList();
    SystemAwareness::Subscribe();
}

SystemAwareness::~SystemAwareness()
{
    SystemAwareness::UnSubscribe();
    gate_->Close();
    NETMGR_EXT_LOGI(" ~SystemAwareness");
}

void SystemAwareness::Subscribe()
{
    {
        const MutexLock guard(subscriberMutex_);
        if (subscriber_ != nullptr) {
            return;
        }
    }
    if (!IsCommonEventServicePresent()) {
        NETMGR_EXT_LOGE(" Subscribe:CES SA not ready, wait for the SA Added callback.");
        return;
    }
    EventFwk::MatchingSkills skills;
    for (const std::string& event : subscribedEventList_) {
        skills.AddEvent(event);
    }
    const auto subscriber = std::make_shared<SysAwareSubscriber>(EventFwk::CommonEventSubscribeInfo(skills), this);
    {
        const MutexLock guard(subscriberMutex_);
        if (subscriber_ != nullptr) {
            return;
        }
        subscriber_ = subscriber;
    }
    if (!CommonEventManager::SubscribeCommonEvent(subscriber)) {
        NETMGR_EXT_LOGE(" system event register fail.");
    }
}

void SystemAwareness::UnSubscribe()
{
    std::shared_ptr<SysAwareSubscriber> subscriber;
    {
        const MutexLock guard(subscriberMutex_);
        subscriber = std::exchange(subscriber_, nullptr);
    }
    if (subscriber != nullptr && !CommonEventManager::UnSubscribeCommonEvent(subscriber)) {
        NETMGR_EXT_LOGE(" system event unregister fail.");
    }
}

void SystemAwareness::HandleSystemEvent(const CommonEventData& data)
{
    const auto it = eventHandleMap_.find(data.GetWant().GetAction());
    if (it != eventHandleMap_.end()) {
        (this->*it->second)(data);
    }
}

int32_t SystemAwareness::GetCurrentNetInfo(NetInfo& info) const
{
    for (size_t netType = 0; netType < NET_TYPE_COUNT; ++netType) {
        info.connStates[netType] = netStateCache_[netType];
    }
    return DISTNET_SUCCESS;
}

void SystemAwareness::UpdateNetInfo(int netType, int connState)
{
    if (IsKnownNetType(netType)) {
        netStateCache_[static_cast<size_t>(netType)] = connState;
    }
}

void SystemAwareness::InitLocalStateCache()
{
    for (std::atomic<int32_t>& connState : netStateCache_) {
        connState = 0;
    }
}

void SystemAwareness::InitSysEventsSet()
{
    AddAwareEventsToSet(AWARE_EVENT_SCREEN_STATE);
    AddAwareEventsToSet(AWARE_EVENT_BATTERY_LOW);
    AddAwareEventsToSet(AWARE_EVENT_CONNECTIVITY);
}

void SystemAwareness::InitSystemNotifyNowMap()
{
    using Callback = std::shared_ptr<AwarenessCenterCallback>;
    AddNotifyNowFuncToMap(AWARE_EVENT_SCREEN_STATE,
                          [this](const Callback& callback) { HandleScreenStateChangedInner(callback); });
    AddNotifyNowFuncToMap(AWARE_EVENT_BATTERY_LOW,
                          [this](const Callback& callback) { HandleBatteryLowChangedInner(callback); });
    AddNotifyNowFuncToMap(AWARE_EVENT_CONNECTIVITY,
                          [this](const Callback& callback) { HandleConnectivityChangeInner(callback); });
}

void SystemAwareness::InitSystemEventHandleMap()
{
    eventHandleMap_[CommonEventSupport::COMMON_EVENT_SCREEN_ON] = &SystemAwareness::NotifyScreenOnChanged;
    eventHandleMap_[CommonEventSupport::COMMON_EVENT_SCREEN_OFF] = &SystemAwareness::NotifyScreenOffChanged;
    eventHandleMap_[CommonEventSupport::COMMON_EVENT_BATTERY_LOW] = &SystemAwareness::NotifyBatteryLowChanged;
    eventHandleMap_[CommonEventSupport::COMMON_EVENT_CONNECTIVITY_CHANGE] = &SystemAwareness::NotifyConnectivityChanged;
}

void SystemAwareness::InitSubscribedEventList()
{
    subscribedEventList_ = {
        CommonEventSupport::COMMON_EVENT_SCREEN_ON,
        CommonEventSupport::COMMON_EVENT_SCREEN_OFF,
        CommonEventSupport::COMMON_EVENT_BATTERY_LOW,
        CommonEventSupport::COMMON_EVENT_CONNECTIVITY_CHANGE,
    };
}

void SystemAwareness::NotifyScreenOnChanged(const CommonEventData& data)
{
    isScreenOn_ = data.GetWant().GetAction() == CommonEventSupport::COMMON_EVENT_SCREEN_ON;
    NotifyListeners(AWARE_EVENT_SCREEN_STATE,
                    [this](const auto& callback) { HandleScreenStateChangedInner(callback); });
}

void SystemAwareness::NotifyScreenOffChanged(const CommonEventData& data)
{
    isScreenOn_ = data.GetWant().GetAction() != CommonEventSupport::COMMON_EVENT_SCREEN_OFF;
    NotifyListeners(AWARE_EVENT_SCREEN_STATE,
                    [this](const auto& callback) { HandleScreenStateChangedInner(callback); });
}

void SystemAwareness::NotifyBatteryLowChanged(const CommonEventData& data)
{
    isBatteryLow_ = data.GetWant().GetAction() == CommonEventSupport::COMMON_EVENT_BATTERY_LOW;
    NotifyListeners(AWARE_EVENT_BATTERY_LOW, [this](const auto& callback) { HandleBatteryLowChangedInner(callback); });
}

void SystemAwareness::NotifyConnectivityChanged(const CommonEventData& data)
{
    const int32_t netType = data.GetWant().GetIntParam(CommonEventSupport::NET_TYPE_PARAMETER, NO_NET_TYPE);
    const int32_t connState = data.GetCode();
    UpdateNetInfo(netType, connState);
    // UpdateNetInfo ignores some network types, but listeners receive every type.
    NotifyListeners(AWARE_EVENT_CONNECTIVITY,
                    [=](const auto& callback) { callback->OnConnectivityChanged(netType, connState); });
}

void SystemAwareness::HandleScreenStateChangedInner(const std::shared_ptr<AwarenessCenterCallback>& callback) const
{
    callback->OnScreenStateChanged(isScreenOn_, eventRunner_);
}

void SystemAwareness::HandleBatteryLowChangedInner(const std::shared_ptr<AwarenessCenterCallback>& callback) const
{
    callback->OnBatteryLowChanged(isBatteryLow_);
}

void SystemAwareness::HandleConnectivityChangeInner(const std::shared_ptr<AwarenessCenterCallback>& callback) const
{
    for (size_t netType = 0; netType < NET_TYPE_COUNT; ++netType) {
        const int32_t connState = netStateCache_[netType];
        if (connState != 0) {
            callback->OnConnectivityChanged(static_cast<int>(netType), connState);
        }
    }
}

}  // namespace Vexo::NetManagerStandard
