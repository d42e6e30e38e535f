#include "distributed/services/converged/decision/src/decision_center.h"

#include <utility>

#include "distributed/services/converged/awareness/awareness_center_interface.h"
#include "distributed/services/converged/configuration/configuration_center_interface.h"
#include "distributed/services/utils/distnet_errors.h"
#include "distributed/services/utils/net_mgr_log_wrapper.h"
#include "distributed/services/utils/singleton.h"
#include "platform/events/common_event_support.h"

namespace Vexo::NetManagerStandard {

using AppExecFwk::EventHandler;
using AppExecFwk::EventRunner;
using AppExecFwk::InnerEvent;

namespace {

constexpr int32_t LISTENED_EVENTS = AWARE_EVENT_SCREEN_STATE | AWARE_EVENT_CONNECTIVITY | AWARE_EVENT_BATTERY_LOW;
constexpr const char* CLOSE_NET_SHARE_TASK = "CloseNetShare";
constexpr const char* DEFAULT_DEVICE_TYPE = "default";

// The file, function and line that log lines of the event runner show for the scheduled closing. They are constants and
// do not name this source file.
const AppExecFwk::Caller CLOSE_NET_SHARE_CALLER{
    "foundation/communication/netmanager_plugins/network_connectivity_ext/distributed/services/converged/decision/src/"
    "decision_center",
    "HandleScreenStateChanged", 120};

bool ReadDeviceParameter(const std::string& deviceType, int& netOffTime, bool& isUseNetwork, bool& isProvideNetwork)
{
    const std::shared_ptr<ConfigurationCenterInterface> center = ConfigurationCenterInterface::GetInstance();
    if (!center->GetDeviceNetFeature(deviceType, isUseNetwork, isProvideNetwork)) {
        NETMGR_EXT_LOGE(" Get device net feature failed.");
        return false;
    }
    if (!center->GetDeviceNetOffTime(deviceType, netOffTime)) {
        NETMGR_EXT_LOGE(" Get device off time failed.");
        return false;
    }
    return true;
}

}  // namespace

NeverDestroyed<std::shared_ptr<DecisionCenter>> DecisionCenter::instance_;
Mutex DecisionCenter::instanceLock_;
std::atomic<bool> DecisionCenter::isInstanceCreated_{false};

std::shared_ptr<DecisionCenter> DecisionCenter::GetInstance()
{
    return GetOrCreateInstance(instance_, instanceLock_, isInstanceCreated_);
}

int32_t DecisionCenter::InitDecisionCenter()
{
    NETMGR_EXT_LOGI(" InitDecisionCenter");
    if (isInitialized_.exchange(true)) {
        return DISTNET_SUCCESS;
    }
    ConfigurationCenterInterface::GetInstance()->InitConfigurationCenter();
    const std::shared_ptr<AwarenessCenterInterface> awareness = AwarenessCenterInterface::GetInstance();
    if (awareness != nullptr) {
        awareness->InitAwarenessCenter();
        awareness->Listen(shared_from_this(), LISTENED_EVENTS, false);
    }
    return DISTNET_SUCCESS;
}

void DecisionCenter::OnScreenStateChanged(bool isScreenOn, std::shared_ptr<EventRunner> runner)
{
    NETMGR_EXT_LOGI(" OnScreenStateChanged, %{public}s", isScreenOn ? "on" : "off");
    HandleScreenStateChanged(isScreenOn, runner);
}

void DecisionCenter::HandleScreenStateChanged(bool isScreenOn, const std::shared_ptr<EventRunner>& runner)
{
    isScreenOn_ = isScreenOn;
    NETMGR_EXT_LOGI(" screenState:%{public}d", isScreenOn);
    if (!UpdateDeviceParameter()) {
        NETMGR_EXT_LOGI(" Get device parameters falied.");
        return;
    }
    if (isScreenOn) {
        CancelClosing(runner);
    } else {
        ScheduleClosing(runner);
    }
}

bool DecisionCenter::UpdateDeviceParameter()
{
    int netOffTime = netOffTime_;
    bool isUseNetwork = isUseNetwork_;
    bool isProvideNetwork = isProvideNetwork_;
    const bool isFound = ReadDeviceParameter(DEFAULT_DEVICE_TYPE, netOffTime, isUseNetwork, isProvideNetwork);
    netOffTime_ = netOffTime;
    isUseNetwork_ = isUseNetwork;
    isProvideNetwork_ = isProvideNetwork;
    return isFound;
}

void DecisionCenter::CancelClosing(const std::shared_ptr<EventRunner>& runner)
{
    // RemoveTask removes only tasks that were posted through the same handler. This handler is new, so a scheduled
    // closing stays scheduled when the screen goes on. The scheduled task does not check whether the screen is on.
    const auto handler = std::make_shared<EventHandler>(runner);
    StoreHandler(&DecisionCenter::screenOnHandler_, handler);
    handler->RemoveTask(CLOSE_NET_SHARE_TASK);
}

void DecisionCenter::ScheduleClosing(const std::shared_ptr<EventRunner>& runner)
{
    const int32_t delay = netOffTime_;
    closeDelay_ = delay;
    const auto handler = std::make_shared<EventHandler>(runner);
    StoreHandler(&DecisionCenter::screenOffHandler_, handler);
    // The task has a weak pointer, because it may still be queued when this object is destroyed. The task reads
    // isUseNetwork_ and isProvideNetwork_ when it runs.
    auto closing = [weak = weak_from_this()] {
        if (const std::shared_ptr<DecisionCenter> center = weak.lock(); center != nullptr) {
            center->CloseNetShare(center->isUseNetwork_, center->isProvideNetwork_);
        }
    };
    InnerEvent::Pointer event = InnerEvent::Get(closing, CLOSE_NET_SHARE_TASK, CLOSE_NET_SHARE_CALLER);
    if (!handler->SendEvent(std::move(event), delay, EventHandler::Priority::LOW)) {
        NETMGR_EXT_LOGE(" post task failed.");
    }
}

void DecisionCenter::StoreHandler(std::shared_ptr<EventHandler> DecisionCenter::*place,
                                  std::shared_ptr<EventHandler> handler)
{
    const MutexLock guard(handlerMutex_);
    (this->*place).swap(handler);  // now handler holds the previous object, which is destroyed after unlocking
}

void DecisionCenter::OnConnectivityChanged(int netType, int connState)
{
    NETMGR_EXT_LOGI(" OnConnectivityChanged");
    if (netType == static_cast<int>(EventFwk::NetType::WIFI)) {
        isWifiConnected_ = connState == static_cast<int>(EventFwk::NetConnState::CONNECTED);
    }
}

void DecisionCenter::HandleWifiConnectionChanged(bool isConnected)
{
    isWifiConnected_ = isConnected;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): this class's interface takes deviceType by value
bool DecisionCenter::GetDeviceParameter(std::string deviceType, int& netOffTime, bool& isUseNetwork,
                                        bool& isProvideNetwork)
{
    return ReadDeviceParameter(deviceType, netOffTime, isUseNetwork, isProvideNetwork);
}

void DecisionCenter::CloseNetShare(bool isUseNetwork, bool isProvideNetwork)
{
    if (isUseNetwork && isProvideNetwork) {
        NETMGR_EXT_LOGI(" Close net share.");
    }
}

int32_t DecisionCenter::RequestPath(uint16_t&, int&)
{
    return DISTNET_ERR_GENERAL;
}

int32_t DecisionCenter::ReleasePath(uint16_t& pathType, int& pathId)
{
    return RequestPath(pathType, pathId);
}

}  // namespace Vexo::NetManagerStandard
