// AwarenessCenterManager: the process-wide awareness center. It owns the source of screen, battery and connectivity
// events, and registers listeners with this source. It also watches the abilities (platform services) on which this
// service depends. When such an ability is added, the manager connects the service to it. Any thread may call the
// manager. The handlers of added and removed abilities run on platform threads.
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

    // Returns the only object, which lives as long as the process.
    static std::shared_ptr<AwarenessCenterManager> GetInstance();

    void InitAwarenessCenter() override;
    int32_t Listen(const std::shared_ptr<AwarenessCenterCallback>& callback, int32_t events, bool isNotifyNow) override;
    int32_t UnListen(const std::shared_ptr<AwarenessCenterCallback>& callback) override;
    int32_t GetCurrentNetInfo(NetInfo& info) override;

    // InitAwarenessCenter runs the following three functions in this order.
    void InitSubAwarenessInstance();
    void InitSysAbilityStatusListener();  // does nothing if the status listener exists already
    void AddServiceIdListener();

    // Returns the source of events, or null before InitAwarenessCenter. The manager owns the source, and the next
    // InitAwarenessCenter destroys it.
    SystemAwareness* GetSystemAwarenessInstance();

    // Each of the following handlers is called when the ability in its name is added or removed.
    void HandleCommonEventServiceAdded();
    void HandleCommonEventServiceRemoved();
    void HandleSoftBusServiceAdded();
    void HandleSoftBusServiceRemoved() {}  // empty: HandleSoftBusServiceAdded creates the session server again
    void HandleDeviceManagerServiceAdded();
    void HandleDeviceManagerServiceRemoved() {}
    void HandleCollFwkServiceAdded();  // also called when a peer has started a collaboration
    void HandleCollFwkServiceRemoved() {}

    // HandleSoftBusServiceAdded calls InitSoftbusAdapter, and HandleDeviceManagerServiceAdded calls InitDmAdapter.
    // Failures are logged.
    void InitSoftbusAdapter();
    void InitDmAdapter();

private:
    using SysAbilityHandle = std::function<void(AwarenessCenterManager*)>;
    using SysAbilityHandleMap = std::map<int32_t, SysAbilityHandle>;

    void InitHandleSysAbilityMap();
    std::shared_ptr<SystemAwareness> Source();

    Mutex stateMutex_;  // not held during calls to other classes
    std::shared_ptr<SystemAwareness> systemAwareness_ GUARDED_BY(stateMutex_);
    sptr<SystemAbilityStatusListener> statusListener_ GUARDED_BY(stateMutex_);

    // sysAbilityAddedHandleMap_ and sysAbilityRemovedHandleMap_ are filled before the status listener is subscribed.
    // They do not change afterwards.
    SysAbilityHandleMap sysAbilityAddedHandleMap_;
    SysAbilityHandleMap sysAbilityRemovedHandleMap_;

    static NeverDestroyed<std::shared_ptr<AwarenessCenterManager>> instance_;
    static Mutex instanceLock_;
    static std::atomic<bool> isInstanceCreated_;
};

// Receives a call when an ability is added or removed, and calls the handler of AwarenessCenterManager for this
// ability. Ignores an ability that has no handler.
class AwarenessCenterManager::SystemAbilityStatusListener : public SystemAbilityStatusChangeStub {
public:
    void OnAddSystemAbility(int32_t systemAbilityId, const std::string& deviceId) override;
    void OnRemoveSystemAbility(int32_t systemAbilityId, const std::string& deviceId) override;

private:
    static void RunHandle(SysAbilityHandleMap AwarenessCenterManager::*map, int32_t systemAbilityId);
};

}  // namespace Vexo::NetManagerStandard
