// SystemAbility: base class of an ability (service object) that the host starts and stops. The host calls OnStart and
// OnStop one at a time, never on an IPC worker. OnStart publishes the ability's remote object. Registration and
// look-up: platform/ability/system_ability_manager.h.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "platform/ipc/iremote_object.h"

namespace Vexo {

enum class SystemAbilityState : int32_t { NOT_LOADED = 0, ACTIVE = 1, IDLE = 2 };

class SystemAbility {
public:
    // Registers the ability with this process, so that the host can start it. Called while the ability's library is
    // being loaded. The ability must live as long as the process. A reference-counted ability is therefore never
    // released. Returns false if the ability is null or its id is taken.
    static bool MakeAndRegisterAbility(SystemAbility* ability);
    // Returns the ability that MakeAndRegisterAbility registered, or null. The caller does not own the ability.
    static SystemAbility* FindRegistered(int32_t systemAbilityId);

    virtual ~SystemAbility() = default;
    SystemAbility(const SystemAbility&) = delete;
    SystemAbility& operator=(const SystemAbility&) = delete;

    int32_t GetSystemAbilityId() const { return systemAbilityId_; }
    SystemAbilityState GetAbilityState() const { return state_.load(); }
    virtual std::string GetClassName() { return "SystemAbility"; }

    // The host calls Start and Stop one at a time. Start runs OnStart. If OnStart published an object, Start sets
    // ACTIVE and returns true. Stop runs OnStop, unregisters the object and sets NOT_LOADED. Exceptions from OnStart
    // and OnStop are caught and logged.
    bool Start();
    void Stop();

protected:
    // runOnCreate: ignored, because the host starts every ability on demand.
    SystemAbility(int32_t systemAbilityId, bool runOnCreate);

    virtual void OnStart() {}
    virtual void OnStop() {}

    // Registers the object under this ability's id. A second call replaces the object. Returns false if no manager is
    // installed, the object is null or the manager refuses it.
    bool Publish(const sptr<IRemoteObject>& object);

private:
    void Withdraw();

    const int32_t systemAbilityId_;
    std::atomic<bool> published_{false};
    std::atomic<SystemAbilityState> state_{SystemAbilityState::NOT_LOADED};
};

}  // namespace Vexo
