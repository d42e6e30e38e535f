// AwarenessCenterManager: the process-wide awareness center. It owns the source of events and registers listeners with
// it. It also watches the abilities that the service depends on, and connects the service to an ability when the
// ability is added. Any thread; the ability handlers run on the platform's threads for ability status.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "distributed/services/converged/awareness/awareness_center_interface.h"
#include "distributed/services/converged/awareness/awareness_services.h"
#include "platform/ability/system_ability_status_change.h"
#include "platform/base/mutex.h"
#include "platform/base/never_destroyed.h"

namespace Vexo::NetManagerStandard {

class AwarenessCenterManager : public AwarenessCenterInterface {
public:
    class SystemAbilityStatusListener;

    // Lives as long as the process.
    static std::shared_ptr<AwarenessCenterManager> GetInstance();

    void InitAwarenessCenter() override;
    int32_t Listen(const std::shared_ptr<AwarenessCenterCallback>& callback, int32_t events, bool isNotifyNow) override;
    int32_t UnListen(const std::shared_ptr<AwarenessCenterCallback>& callback) override;
    int32_t GetCurrentNetInfo(NetInfo& info) override;

    // The steps of InitAwarenessCenter.
    void InitSubAwarenessInstance();
    void InitSysAbilityStatusListener();  // does nothing if there is a listener already
    void AddServiceIdListener();

    // Returns null before InitAwarenessCenter. The manager owns the object; the next InitAwarenessCenter destroys it.
    SystemAwareness* GetSystemAwarenessInstance();

    // Called when an ability is added or removed.
    void HandleCommonEventServiceAdded();
    void HandleCommonEventServiceRemoved();
    void HandleSoftBusServiceAdded();
    void HandleSoftBusServiceRemoved() {}  // when the soft bus is added, the session server is created again
    void HandleDeviceManagerServiceAdded();
    void HandleDeviceManagerServiceRemoved() {}
    void HandleCollFwkServiceAdded();  // also called when a peer has started a collaboration
    void HandleCollFwkServiceRemoved() {}

    // Called by the handlers above. Failures are logged.
    void InitSoftbusAdapter();
    void InitDmAdapter();

private:
    using SysAbilityHandle = std::function<void(AwarenessCenterManager*)>;
    using SysAbilityHandleMap = std::map<int32_t, SysAbilityHandle>;

    void InitHandleSysAbilityMap();
    std::shared_ptr<SystemAwareness> Source();

    Mutex stateMutex_;  // not held while other code is called
    std::shared_ptr<SystemAwareness> systemAwareness_ GUARDED_BY(stateMutex_);
    sptr<SystemAbilityStatusListener> statusListener_ GUARDED_BY(stateMutex_);

    // Filled once, before the status listener is subscribed; constant afterwards.
    SysAbilityHandleMap sysAbilityAddedHandleMap_;
    SysAbilityHandleMap sysAbilityRemovedHandleMap_;

    static NeverDestroyed<std::shared_ptr<AwarenessCenterManager>> instance_;
    static Mutex instanceLock_;
    static std::atomic<bool> isInstanceCreated_;
};

// Receives changes of ability status and calls the handler of AwarenessCenterManager for the ability. Ignores abilities
// without a handler.
class AwarenessCenterManager::SystemAbilityStatusListener : public SystemAbilityStatusChangeStub {
public:
    void OnAddSystemAbility(int32_t systemAbilityId, const std::string& deviceId) override;
    void OnRemoveSystemAbility(int32_t systemAbilityId, const std::string& deviceId) override;

private:
    static void RunHandle(SysAbilityHandleMap AwarenessCenterManager::*map, int32_t systemAbilityId);
};

}  // namespace Vexo::NetManagerStandard
