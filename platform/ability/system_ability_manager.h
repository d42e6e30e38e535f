// SystemAbilityManager: the registry of one daemon, with on-demand loading and unloading. The host makes it, tells it
// which abilities are loaded on demand and how, installs it with SystemAbilityManagerClient and routes IPC requests
// through Dispatch. Any thread. Loading and stopping run on a thread of the manager's own, never on the caller's, one
// after the other: OnStart and OnStop must not wait for another on-demand ability. Life of such an ability:
//   NOT_LOADED --request or load--> LOADING --OnStart published--> LOADED --unload--> UNLOADING --OnStop--> NOT_LOADED
// A request waits while it unloads, and at most the load limit while it loads; a failed start fails those that wait,
// and the next request tries again.
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
    // Makes the ability known to the process (opens its library once); false with a log line when it cannot.
    using Loader = std::function<bool()>;

    explicit SystemAbilityManager(std::chrono::milliseconds loadLimit = ABILITY_LOAD_LIMIT);
    ~SystemAbilityManager() override;

    // Once for each id; the loader is not empty.
    void AddOnDemandAbility(int32_t systemAbilityId, Loader loader);

    // Runs one request on the calling thread against the ability it names: loads an on-demand one first, waiting at
    // most the load limit, and counts the transaction so that unloading waits for it. One that is being unloaded is
    // first waited for, without a limit: its transactions may take minutes. Returns OnRemoteRequest's result,
    // IPC_UNKNOWN_ABILITY (also for an object that takes no requests) or IPC_ABILITY_UNAVAILABLE.
    int32_t Dispatch(const Ipc::IpcHeader& request, MessageParcel& data, MessageParcel& reply);

    // Whether an on-demand ability runs, and is neither being started nor stopped.
    bool IsLoaded(int32_t systemAbilityId) const;
    std::vector<int32_t> ListSystemAbilities() const;  // registered now, ascending
    // No on-demand ability is loaded from now on; requests that wait for one to stop fail at once.
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
