// SystemAbility: base of an ability that the host starts and stops. The host calls OnStart and OnStop, one at a time,
// never on an IPC worker; the ability publishes its remote object from OnStart. Registration and look-up:
// platform/ability/system_ability_manager.h.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "platform/ipc/iremote_object.h"

namespace Vexo {

enum class SystemAbilityState : int32_t { NOT_LOADED = 0, ACTIVE = 1, IDLE = 2 };

class SystemAbility {
public:
    // Called when the ability's library is loaded. Makes the ability known to this process so that the host can start
    // it; it is pinned and must live as long as the process. False when one with the same id is registered already.
    static bool MakeAndRegisterAbility(SystemAbility* ability);
    // The ability of that id that MakeAndRegisterAbility made known, or null. Not owned.
    static SystemAbility* FindRegistered(int32_t systemAbilityId);

    virtual ~SystemAbility() = default;
    SystemAbility(const SystemAbility&) = delete;
    SystemAbility& operator=(const SystemAbility&) = delete;

    int32_t GetSystemAbilityId() const { return systemAbilityId_; }
    SystemAbilityState GetAbilityState() const { return state_.load(); }
    virtual std::string GetClassName() { return "SystemAbility"; }

    // Run by the host, one at a time: OnStart, state ACTIVE when it published, else false. OnStop, then withdrawn,
    // state NOT_LOADED. An exception that OnStart or OnStop lets out is logged and ends there.
    bool Start();
    void Stop();

protected:
    // runOnCreate: for hosts that start an ability with their process; this one starts each on demand.
    SystemAbility(int32_t systemAbilityId, bool runOnCreate);

    virtual void OnStart() {}
    virtual void OnStop() {}

    // Registers the object under this ability's id; false without a manager, with a null object, or when the manager
    // refuses. Publishing again replaces the object.
    bool Publish(const sptr<IRemoteObject>& object);

private:
    void Withdraw();

    const int32_t systemAbilityId_;
    std::atomic<bool> published_{false};
    std::atomic<SystemAbilityState> state_{SystemAbilityState::NOT_LOADED};
};

}  // namespace Vexo
