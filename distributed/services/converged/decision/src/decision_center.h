// DecisionCenter: decides when the shared network closes. When the screen goes off, the class receives an event runner
// and schedules a task on this runner. The task closes the shared network after the configured time. In this version,
// closing only writes a log line. The listener functions run on task threads, one at a time. The scheduled task runs on
// the thread of the runner. The service calls this class through converged_decision_manager.h.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "distributed/services/converged/awareness/awareness_center_callback.h"
#include "platform/base/mutex.h"
#include "platform/base/never_destroyed.h"
#include "platform/eventloop/event_handler.h"

namespace Vexo::NetManagerStandard {

class DecisionCenter : public AwarenessCenterCallback, public std::enable_shared_from_this<DecisionCenter> {
public:
    // Returns the only object, which lives as long as the process.
    static std::shared_ptr<DecisionCenter> GetInstance();
    ~DecisionCenter() override = default;

    // The first call initializes the configuration center and the awareness center, and registers this object as a
    // listener. Further calls do nothing. The first call blocks while files are read. Always returns 0. Failures are
    // logged.
    int32_t InitDecisionCenter();

    void OnScreenStateChanged(bool isScreenOn, std::shared_ptr<AppExecFwk::EventRunner> runner) override;
    void OnConnectivityChanged(int netType, int connState) override;

    // Screen off schedules the closing of the shared network. Screen on does not remove a scheduled closing (see
    // CancelClosing). If runner is null, nothing is scheduled.
    void HandleScreenStateChanged(bool isScreenOn, const std::shared_ptr<AppExecFwk::EventRunner>& runner);
    void HandleWifiConnectionChanged(bool isConnected);

    // Reads the settings of a device type, with netOffTime in milliseconds. Returns false if a setting is missing, and
    // does not change the output parameters of that setting.
    bool GetDeviceParameter(std::string deviceType, int& netOffTime, bool& isUseNetwork, bool& isProvideNetwork);
    // Closes the shared network if both arguments are true. Otherwise does nothing.
    void CloseNetShare(bool isUseNetwork, bool isProvideNetwork);

    // This version does not support network paths. RequestPath and ReleasePath always return DISTNET_ERR_GENERAL and do
    // not change their arguments.
    int32_t RequestPath(uint16_t& pathType, int& pathId);
    int32_t ReleasePath(uint16_t& pathType, int& pathId);

private:
    using EventHandler = AppExecFwk::EventHandler;

    bool UpdateDeviceParameter();
    void CancelClosing(const std::shared_ptr<AppExecFwk::EventRunner>& runner);
    void ScheduleClosing(const std::shared_ptr<AppExecFwk::EventRunner>& runner);
    // Stores the handler in the given member and releases the previous handler.
    void StoreHandler(std::shared_ptr<EventHandler> DecisionCenter::*place, std::shared_ptr<EventHandler> handler)
        EXCLUDES(handlerMutex_);

    const std::string moduleName_{"network_connectivity_ext"};

    std::atomic<bool> isInitialized_{false};
    std::atomic<bool> isWifiConnected_{false};
    std::atomic<bool> isScreenOn_{false};
    std::atomic<int32_t> netOffTime_{0};  // in milliseconds
    std::atomic<int32_t> closeDelay_{0};  // in milliseconds
    std::atomic<bool> isUseNetwork_{false};
    std::atomic<bool> isProvideNetwork_{false};

    Mutex handlerMutex_;  // not held during calls to other classes
    std::shared_ptr<EventHandler> screenOffHandler_ GUARDED_BY(handlerMutex_);
    std::shared_ptr<EventHandler> screenOnHandler_ GUARDED_BY(handlerMutex_);

    static NeverDestroyed<std::shared_ptr<DecisionCenter>> instance_;
    static Mutex instanceLock_;
    static std::atomic<bool> isInstanceCreated_;
};

}  // namespace Vexo::NetManagerStandard
