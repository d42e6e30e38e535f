// DecisionCenter: decides when the shared network closes. When the screen goes off, it schedules the closing after the
// configured time, on the event runner that it receives with the screen event. Closing only writes a log line in this
// version. The listener functions are called on task threads, one at a time; the scheduled task runs on the runner's
// thread. The service uses it through converged_decision_manager.h.
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
    // Lives as long as the process.
    static std::shared_ptr<DecisionCenter> GetInstance();
    ~DecisionCenter() override = default;

    // The first call initializes the configuration center and the awareness center, and registers this object as a
    // listener. Blocks on the disk. Always returns 0; failures are logged.
    int32_t InitDecisionCenter();

    void OnScreenStateChanged(bool isScreenOn, std::shared_ptr<AppExecFwk::EventRunner> runner) override;
    void OnConnectivityChanged(int netType, int connState) override;

    // Schedules or cancels the closing. runner may be null: then nothing is scheduled.
    void HandleScreenStateChanged(bool isScreenOn, const std::shared_ptr<AppExecFwk::EventRunner>& runner);
    void HandleWifiConnectionChanged(bool isConnected);

    // Reads the settings of a device type; netOffTime is in milliseconds. Returns false if a setting is missing; the
    // outputs of a missing setting are not changed.
    bool GetDeviceParameter(std::string deviceType, int& netOffTime, bool& isUseNetwork, bool& isProvideNetwork);
    // Closes the shared network if both arguments are true; else does nothing.
    void CloseNetShare(bool isUseNetwork, bool isProvideNetwork);

    // Not supported in this version: always return DISTNET_ERR_GENERAL and do not change the arguments.
    int32_t RequestPath(uint16_t& pathType, int& pathId);
    int32_t ReleasePath(uint16_t& pathType, int& pathId);

private:
    using EventHandler = AppExecFwk::EventHandler;

    bool UpdateDeviceParameter();
    void CancelClosing(const std::shared_ptr<AppExecFwk::EventRunner>& runner);
    void ScheduleClosing(const std::shared_ptr<AppExecFwk::EventRunner>& runner);
    // Stores the handler and drops the previous one.
    void StoreHandler(std::shared_ptr<EventHandler> DecisionCenter::*place, std::shared_ptr<EventHandler> handler)
        EXCLUDES(handlerMutex_);

    const std::string moduleName_{"network_connectivity_ext"};

    // Atomic, because they are written on task threads and read on any thread.
    std::atomic<bool> isInitialized_{false};
    std::atomic<bool> isWifiConnected_{false};
    std::atomic<bool> isScreenOn_{false};
    std::atomic<int32_t> netOffTime_{0};  // in milliseconds, like closeDelay_
    std::atomic<int32_t> closeDelay_{0};
    std::atomic<bool> isUseNetwork_{false};
    std::atomic<bool> isProvideNetwork_{false};

    Mutex handlerMutex_;  // not held while other code is called
    std::shared_ptr<EventHandler> screenOffHandler_ GUARDED_BY(handlerMutex_);
    std::shared_ptr<EventHandler> screenOnHandler_ GUARDED_BY(handlerMutex_);

    static NeverDestroyed<std::shared_ptr<DecisionCenter>> instance_;
    static Mutex instanceLock_;
    static std::atomic<bool> isInstanceCreated_;
};

}  // namespace Vexo::NetManagerStandard
