// SystemAbilityManager: the registry of one daemon, which also loads and unloads abilities on demand. The host creates
// it, adds the on-demand abilities, installs it with SystemAbilityManagerClient and passes IPC requests to Dispatch.
// Thread-safe. Abilities start and stop one at a time on a pool thread, never on the thread that requests the start or
// the stop. OnStart and OnStop must therefore not wait for another on-demand ability. States of an on-demand ability:
//   NOT_LOADED --request or load--> LOADING --OnStart published--> LOADED --unload--> UNLOADING --OnStop--> NOT_LOADED
// A request waits while the ability unloads. While the ability loads, the request waits at most the load limit
// (loadLimit). When a start fails, the waiting requests fail. The next request tries the start again.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "platform/ability/iservice_registry.h"
#include "platform/ability/system_ability.h"
#include "platform/ipc/wire.h"

namespace Vexo {

inline constexpr std::chrono::seconds ABILITY_LOAD_LIMIT{5};

class SystemAbilityManager : public ISystemAbilityManager {
public:
    // Opens the ability's library, which registers the ability with this process (MakeAndRegisterAbility). Returns
    // false after logging the reason if the library cannot be opened.
    using Loader = std::function<bool()>;

    explicit SystemAbilityManager(std::chrono::milliseconds loadLimit = ABILITY_LOAD_LIMIT);
    ~SystemAbilityManager() override;

    // Adds an ability that is loaded on demand. loader: opens the ability's library; must not be empty. Call this
    // function at most once for each id.
    void AddOnDemandAbility(int32_t systemAbilityId, Loader loader);

    // Runs one request on the calling thread, in the ability that the request names. Returns the result of
    // OnRemoteRequest, IPC_UNKNOWN_ABILITY or IPC_ABILITY_UNAVAILABLE. IPC_UNKNOWN_ABILITY is also returned for an
    // object that is no IPCObjectStub. Loads an on-demand ability first, which blocks for at most the load limit. If
    // the ability is being unloaded, Dispatch first waits until the ability has stopped, which may take minutes. The
    // ability is not unloaded while the request runs.
    int32_t Dispatch(const Ipc::IpcHeader& request, MessageParcel& data, MessageParcel& reply);

    // Returns true if an on-demand ability runs and is neither starting nor stopping.
    bool IsLoaded(int32_t systemAbilityId) const;
    std::vector<int32_t> ListSystemAbilities() const;  // the ids that are registered now, ascending
    // After this call, no on-demand ability is started. A start that has begun continues. A request that waits because
    // its ability is stopping fails at once.
    void StopLoading();

    sptr<IRemoteObject> GetSystemAbility(int32_t systemAbilityId) override;
    int32_t AddSystemAbility(int32_t systemAbilityId, const sptr<IRemoteObject>& ability) override;
    int32_t RemoveSystemAbility(int32_t systemAbilityId) override;
    int32_t SubscribeSystemAbility(int32_t systemAbilityId, const sptr<ISystemAbilityStatusChange>& listener) override;
    int32_t UnSubscribeSystemAbility(int32_t systemAbilityId,
                                     const sptr<ISystemAbilityStatusChange>& listener) override;
    int32_t LoadSystemAbility(int32_t systemAbilityId) override;
    int32_t UnloadSystemAbility(int32_t systemAbilityId) override;
    int32_t AnnounceSystemAbility(int32_t systemAbilityId) override;

private:
    class State;
    std::shared_ptr<State> state_;
};

}  // namespace Vexo
