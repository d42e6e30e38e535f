// AwarenessCenterManager: the process-wide front of the awareness subsystem. It owns the source of events, registers
// listeners with it, and watches the abilities that the service depends on: when one appears, what needs it is started.
// Any thread; the handlers run on the platform's threads for ability status.
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
    void InitSysAbilityStatusListener();  // nothing when there is a listener already
    void AddServiceIdListener();

    // Null before InitAwarenessCenter. Owned by the manager: it lasts until a further InitAwarenessCenter.
    SystemAwareness* GetSystemAwarenessInstance();

    // What happens when an ability appears or goes.
    void HandleCommonEventServiceAdded();
    void HandleCommonEventServiceRemoved();
    void HandleSoftBusServiceAdded();
    void HandleSoftBusServiceRemoved() {}  // the session server comes back with the soft bus
    void HandleDeviceManagerServiceAdded();
    void HandleDeviceManagerServiceRemoved() {}
    void HandleCollFwkServiceAdded();  // also whenever a peer has started a collaboration
    void HandleCollFwkServiceRemoved() {}

    // The second halves of the handlers above; failures show in the log of what they call.
    void InitSoftbusAdapter();
    void InitDmAdapter();

private:
    using SysAbilityHandle = std::function<void(AwarenessCenterManager*)>;
    using SysAbilityHandleMap = std::map<int32_t, SysAbilityHandle>;

    void InitHandleSysAbilityMap();
    std::shared_ptr<SystemAwareness> Source();

    Mutex stateMutex_;  // never held over a call
    std::shared_ptr<SystemAwareness> systemAwareness_ GUARDED_BY(stateMutex_);
    sptr<SystemAbilityStatusListener> statusListener_ GUARDED_BY(stateMutex_);

    // Filled once, before the subscriptions that lead to them.
    SysAbilityHandleMap sysAbilityAddedHandleMap_;
    SysAbilityHandleMap sysAbilityRemovedHandleMap_;

    static NeverDestroyed<std::shared_ptr<AwarenessCenterManager>> instance_;
    static Mutex instanceLock_;
    static std::atomic<bool> isInstanceCreated_;
};

// Hears of abilities and runs the singleton's handler for them; an id without one is ignored.
class AwarenessCenterManager::SystemAbilityStatusListener : public SystemAbilityStatusChangeStub {
public:
    void OnAddSystemAbility(int32_t systemAbilityId, const std::string& deviceId) override;
    void OnRemoveSystemAbility(int32_t systemAbilityId, const std::string& deviceId) override;

private:
    static void RunHandle(SysAbilityHandleMap AwarenessCenterManager::*map, int32_t systemAbilityId);
};

}  // namespace Vexo::NetManagerStandard
