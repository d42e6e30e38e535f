// DecisionCenter: decides when the shared network should close. A screen that goes off schedules the closing after the
// configured time, on the event runner that comes with the event. Closing is a log line in this version. Awareness
// calls the listener operations on task threads, one at a time; the scheduled task runs on the runner's thread. Reached
// through converged_decision_manager.h.
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

    // Starts the configuration center and the awareness center, once, and listens. Blocks on the disk. Always 0: what
    // fails is logged.
    int32_t InitDecisionCenter();

    void OnScreenStateChanged(bool isScreenOn, std::shared_ptr<AppExecFwk::EventRunner> runner) override;
    void OnConnectivityChanged(int netType, int connState) override;

    // The screen logic; works with an empty runner, on which nothing can be posted.
    void HandleScreenStateChanged(bool isScreenOn, const std::shared_ptr<AppExecFwk::EventRunner>& runner);
    void HandleWifiConnectionChanged(bool isConnected);

    // The settings of a device type; the time in milliseconds. False when one of them is missing; the outputs of a
    // failed look-up stay as they were.
    bool GetDeviceParameter(std::string deviceType, int& netOffTime, bool& isUseNetwork, bool& isProvideNetwork);
    // Only a device that both uses and provides the network has something to close.
    void CloseNetShare(bool isUseNetwork, bool isProvideNetwork);

    // No path can be requested in this version: always DISTNET_ERR_GENERAL, the references stay as they are.
    int32_t RequestPath(uint16_t& pathType, int& pathId);
    int32_t ReleasePath(uint16_t& pathType, int& pathId);

private:
    using EventHandler = AppExecFwk::EventHandler;

    bool UpdateDeviceParameter();
    void CancelClosing(const std::shared_ptr<AppExecFwk::EventRunner>& runner);
    void ScheduleClosing(const std::shared_ptr<AppExecFwk::EventRunner>& runner);
    // Keeps a handler in its place; the one before is dropped.
    void StoreHandler(std::shared_ptr<EventHandler> DecisionCenter::*place, std::shared_ptr<EventHandler> handler)
        EXCLUDES(handlerMutex_);

    const std::string moduleName_{"network_connectivity_ext"};

    // Written by awareness, read by the scheduled task and by anyone.
    std::atomic<bool> isInitialized_{false};
    std::atomic<bool> isWifiConnected_{false};
    std::atomic<bool> isScreenOn_{false};
    std::atomic<int32_t> netOffTime_{0};  // milliseconds, as the delay
    std::atomic<int32_t> closeDelay_{0};
    std::atomic<bool> isUseNetwork_{false};
    std::atomic<bool> isProvideNetwork_{false};

    Mutex handlerMutex_;  // never held over a call
    std::shared_ptr<EventHandler> screenOffHandler_ GUARDED_BY(handlerMutex_);
    std::shared_ptr<EventHandler> screenOnHandler_ GUARDED_BY(handlerMutex_);

    static NeverDestroyed<std::shared_ptr<DecisionCenter>> instance_;
    static Mutex instanceLock_;
    static std::atomic<bool> isInstanceCreated_;
};

}  // namespace Vexo::NetManagerStandard
