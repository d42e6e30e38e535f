#include "platform/ability/system_ability_manager.h"

#include <map>
#include <optional>
#include <string>
#include <utility>

#include "platform/ability/status_listeners.h"
#include "platform/base/check.h"
#include "platform/base/clock.h"
#include "platform/base/mutex.h"
#include "platform/dfx/guard.h"
#include "platform/dfx/log.h"
#include "platform/tasks/elastic_pool.h"

namespace Vexo {
namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "Ability"};

enum class Phase { NOT_LOADED, LOADING, LOADED, UNLOADING };
enum class LimitFrom { CALL, LOADING };  // the load limit starts at the call, or when loading begins

struct Entry {
    sptr<IRemoteObject> object;
    IPCObjectStub* stub = nullptr;  // object, if it is a stub and accepts requests; otherwise null
};

struct OnDemand {
    int32_t id;
    SystemAbilityManager::Loader loader;  // never changed
    Phase phase = Phase::NOT_LOADED;
    size_t running = 0;             // number of requests that run now
    size_t waiting = 0;             // number of callers that wait until the ability is loaded
    uint64_t failures = 0;          // number of starts that have failed so far
    bool unloadWhenLoaded = false;  // the ability must be unloaded when it has been loaded
};

bool RunLoader(const OnDemand& ability)
{
    bool isLoaded = false;
    QuviewDFX::RunGuarded(
        LABEL, [&ability] { return "loader of ability " + std::to_string(ability.id); },
        [&] { isLoaded = ability.loader(); });
    return isLoaded;
}

}  // namespace

// The state of a manager. Tasks on the lifecycle strand also own this object, because they may run after the manager is
// destroyed.
class SystemAbilityManager::State : public std::enable_shared_from_this<State> {
public:
    explicit State(std::chrono::milliseconds loadLimit) : loadLimit_(loadLimit) {}

    void AddOnDemand(int32_t id, Loader loader);
    int32_t Dispatch(const Ipc::IpcHeader& request, MessageParcel& data, MessageParcel& reply);
    bool IsLoaded(int32_t id);
    int32_t Load(int32_t id);
    int32_t Unload(int32_t id);
    void StopLoading();

    std::vector<int32_t> List();
    sptr<IRemoteObject> Find(int32_t id);
    int32_t Add(int32_t id, const sptr<IRemoteObject>& object);
    int32_t Remove(int32_t id);
    int32_t Announce(int32_t id);
    int32_t Subscribe(int32_t id, const sptr<ISystemAbilityStatusChange>& listener);
    int32_t Unsubscribe(int32_t id, const sptr<ISystemAbilityStatusChange>& listener);

private:
    // Ends a request when destroyed. ability: the on-demand ability that counts the request; null if the ability is not
    // loaded on demand, because such requests are not counted.
    class Transaction : public NoCopyable {
    public:
        Transaction(State& state, OnDemand* ability) : state_(state), ability_(ability) {}
        ~Transaction()
        {
            if (ability_ != nullptr) {
                state_.EndTransaction(*ability_);
            }
        }

    private:
        State& state_;
        OnDemand* const ability_;
    };

    OnDemand* FindOnDemand(int32_t id) REQUIRES(mutex_);
    int32_t WhyNotOnDemand(int32_t id) REQUIRES(mutex_);
    // Blocks until the ability is loaded. Returns false if its start failed, the load limit has passed, or StopLoading
    // was called. With LimitFrom::LOADING, the time in which the ability is still unloading does not count towards the
    // load limit. Unloading waits for running requests and may take minutes.
    bool AwaitLoaded(OnDemand& ability, LimitFrom from) REQUIRES(mutex_);
    bool BeginLoading(OnDemand& ability) REQUIRES(mutex_);
    void StopWhenIdle(OnDemand& ability) REQUIRES(mutex_);
    void EndTransaction(OnDemand& ability);
    // RunLoad and RunStop run on the strand lifecycle_.
    void RunLoad(OnDemand& ability);
    void RunStop(OnDemand& ability);

    const std::chrono::milliseconds loadLimit_;
    Tasks::Strand lifecycle_;
    Mutex mutex_;
    CondVar phaseChanged_;
    std::map<int32_t, Entry> registry_ GUARDED_BY(mutex_);
    // Entries are never erased, so references to them stay valid.
    std::map<int32_t, OnDemand> onDemand_ GUARDED_BY(mutex_);
    StatusListeners listeners_ GUARDED_BY(mutex_);
    bool loadingStopped_ GUARDED_BY(mutex_) = false;
};

// ---- Loading and unloading on demand

void SystemAbilityManager::State::AddOnDemand(int32_t id, Loader loader)
{
    DISTNET_ASSERT(loader, "an on-demand ability has a loader");
    const MutexLock lock(mutex_);
    [[maybe_unused]] const bool isNew = onDemand_.emplace(id, OnDemand{id, std::move(loader)}).second;
    DISTNET_ASSERT(isNew, "an ability is made loadable on demand once");
}

OnDemand* SystemAbilityManager::State::FindOnDemand(int32_t id)
{
    const auto found = onDemand_.find(id);
    return found == onDemand_.end() ? nullptr : &found->second;
}

int32_t SystemAbilityManager::State::WhyNotOnDemand(int32_t id)
{
    return registry_.count(id) != 0 ? ERR_NOT_ON_DEMAND : ERR_NOT_FOUND;
}

int32_t SystemAbilityManager::State::Dispatch(const Ipc::IpcHeader& request, MessageParcel& data, MessageParcel& reply)
{
    const auto id = static_cast<int32_t>(request.abilityId);
    Entry target;
    OnDemand* ability = nullptr;
    {
        const MutexLock lock(mutex_);
        ability = FindOnDemand(id);
        if (ability != nullptr && !AwaitLoaded(*ability, LimitFrom::LOADING)) {
            return IPC_ABILITY_UNAVAILABLE;
        }
        const auto found = registry_.find(id);
        if (found == registry_.end() || found->second.stub == nullptr) {
            return IPC_UNKNOWN_ABILITY;
        }
        target = found->second;
        if (ability != nullptr) {
            ++ability->running;
        }
    }
    const Transaction transaction(*this, ability);
    MessageOption option;
    return target.stub->OnRemoteRequest(request.code, data, reply, option);
}

void SystemAbilityManager::State::EndTransaction(OnDemand& ability)
{
    const MutexLock lock(mutex_);
    --ability.running;
    StopWhenIdle(ability);
}

bool SystemAbilityManager::State::AwaitLoaded(OnDemand& ability, LimitFrom from)
{
    if (ability.phase == Phase::LOADED) {
        return true;
    }
    DISTNET_ASSERT(!lifecycle_.RunsOnThisThread(), "OnStart and OnStop do not wait for an on-demand ability");
    const uint64_t failuresBefore = ability.failures;
    std::optional<SteadyTime> deadline;
    bool inTime = true;
    ++ability.waiting;
    while (ability.phase != Phase::LOADED && inTime && ability.failures == failuresBefore) {
        if (loadingStopped_ && ability.phase != Phase::LOADING) {
            break;
        }
        if (ability.phase == Phase::NOT_LOADED && !BeginLoading(ability)) {
            break;
        }
        if (ability.phase == Phase::UNLOADING && from == LimitFrom::LOADING) {
            deadline.reset();
        } else if (!deadline) {
            deadline = Clock::System().Now() + loadLimit_;
        }
        if (deadline) {
            inTime = phaseChanged_.WaitUntil(mutex_, *deadline);
        } else {
            phaseChanged_.Wait(mutex_);
        }
    }
    --ability.waiting;
    return ability.phase == Phase::LOADED;
}

bool SystemAbilityManager::State::BeginLoading(OnDemand& ability)
{
    ability.phase = Phase::LOADING;
    ability.unloadWhenLoaded = false;
    if (!lifecycle_.Post([self = shared_from_this(), &ability] { self->RunLoad(ability); })) {
        ability.phase = Phase::NOT_LOADED;
        return false;
    }
    return true;
}

void SystemAbilityManager::State::RunLoad(OnDemand& ability)
{
    SystemAbility* object = RunLoader(ability) ? SystemAbility::FindRegistered(ability.id) : nullptr;
    const bool started = object != nullptr && object->Start();
    if (!started) {
        QuviewDFX::LogError(LABEL, "ability %{public}d did not start", ability.id);
    }
    const MutexLock lock(mutex_);
    ability.phase = started ? Phase::LOADED : Phase::NOT_LOADED;
    ability.failures += started ? 0 : 1;
    if (started && ability.unloadWhenLoaded && ability.waiting == 0) {
        ability.phase = Phase::UNLOADING;
        StopWhenIdle(ability);
    }
    phaseChanged_.NotifyAll();
}

bool SystemAbilityManager::State::IsLoaded(int32_t id)
{
    const MutexLock lock(mutex_);
    const OnDemand* ability = FindOnDemand(id);
    return ability != nullptr && ability->phase == Phase::LOADED;
}

int32_t SystemAbilityManager::State::Load(int32_t id)
{
    const MutexLock lock(mutex_);
    OnDemand* ability = FindOnDemand(id);
    if (ability == nullptr) {
        return WhyNotOnDemand(id);
    }
    return AwaitLoaded(*ability, LimitFrom::CALL) ? ERR_OK : ERR_NOT_STARTED;
}

int32_t SystemAbilityManager::State::Unload(int32_t id)
{
    const MutexLock lock(mutex_);
    OnDemand* ability = FindOnDemand(id);
    if (ability == nullptr) {
        return WhyNotOnDemand(id);
    }
    if (ability->phase == Phase::LOADING) {
        ability->unloadWhenLoaded = true;
    } else if (ability->phase == Phase::LOADED) {
        ability->phase = Phase::UNLOADING;
        StopWhenIdle(*ability);
    }
    return ERR_OK;
}

void SystemAbilityManager::State::StopWhenIdle(OnDemand& ability)
{
    if (ability.phase != Phase::UNLOADING || ability.running != 0) {
        return;
    }
    if (!lifecycle_.Post([self = shared_from_this(), &ability] { self->RunStop(ability); })) {
        QuviewDFX::LogError(LABEL, "ability %{public}d stays loaded: too much work is queued", ability.id);
        ability.phase = Phase::LOADED;
        phaseChanged_.NotifyAll();
    }
}

void SystemAbilityManager::State::RunStop(OnDemand& ability)
{
    if (SystemAbility* object = SystemAbility::FindRegistered(ability.id)) {
        object->Stop();
    }
    const MutexLock lock(mutex_);
    ability.phase = Phase::NOT_LOADED;
    phaseChanged_.NotifyAll();
}

void SystemAbilityManager::State::StopLoading()
{
    const MutexLock lock(mutex_);
    loadingStopped_ = true;
    phaseChanged_.NotifyAll();
}

// ---- Registry

std::vector<int32_t> SystemAbilityManager::State::List()
{
    const MutexLock lock(mutex_);
    std::vector<int32_t> ids;
    for (const auto& [id, entry] : registry_) {
        ids.push_back(id);
    }
    return ids;
}

sptr<IRemoteObject> SystemAbilityManager::State::Find(int32_t id)
{
    const MutexLock lock(mutex_);
    const auto found = registry_.find(id);
    return found == registry_.end() ? nullptr : found->second.object;
}

int32_t SystemAbilityManager::State::Add(int32_t id, const sptr<IRemoteObject>& object)
{
    if (!object) {
        return ERR_INVALID_ARGUMENT;
    }
    // The swap below moves the replaced entry to this variable. The replaced entry is then destroyed after the lock is
    // released, because its destructor may call the manager.
    Entry entry{object, dynamic_cast<IPCObjectStub*>(object.GetRefPtr())};
    const MutexLock lock(mutex_);
    const auto [place, isNew] = registry_.try_emplace(id);
    std::swap(place->second, entry);
    if (isNew) {
        listeners_.Notify(id, StatusListeners::Event::ADDED);
    }
    return ERR_OK;
}

int32_t SystemAbilityManager::State::Remove(int32_t id)
{
    Entry removed;
    const MutexLock lock(mutex_);
    const auto found = registry_.find(id);
    if (found == registry_.end()) {
        return ERR_NOT_FOUND;
    }
    std::swap(found->second, removed);
    registry_.erase(found);
    listeners_.Notify(id, StatusListeners::Event::REMOVED);
    return ERR_OK;
}

int32_t SystemAbilityManager::State::Announce(int32_t id)
{
    const MutexLock lock(mutex_);
    if (registry_.count(id) == 0) {
        return ERR_NOT_FOUND;
    }
    listeners_.Notify(id, StatusListeners::Event::ADDED);
    return ERR_OK;
}

int32_t SystemAbilityManager::State::Subscribe(int32_t id, const sptr<ISystemAbilityStatusChange>& listener)
{
    if (!listener) {
        return ERR_INVALID_ARGUMENT;
    }
    const MutexLock lock(mutex_);
    if (listeners_.Add(id, listener) && registry_.count(id) != 0) {
        listeners_.NotifyOne(id, StatusListeners::Event::ADDED, listener);
    }
    return ERR_OK;
}

int32_t SystemAbilityManager::State::Unsubscribe(int32_t id, const sptr<ISystemAbilityStatusChange>& listener)
{
    if (!listener) {
        return ERR_INVALID_ARGUMENT;
    }
    const MutexLock lock(mutex_);
    return listeners_.Remove(id, listener) ? ERR_OK : ERR_NOT_FOUND;
}

// ---- SystemAbilityManager: forwards to State

SystemAbilityManager::SystemAbilityManager(std::chrono::milliseconds loadLimit)
    : state_(std::make_shared<State>(loadLimit))
{
}

SystemAbilityManager::~SystemAbilityManager() = default;

void SystemAbilityManager::AddOnDemandAbility(int32_t systemAbilityId, Loader loader)
{
    state_->AddOnDemand(systemAbilityId, std::move(loader));
}

int32_t SystemAbilityManager::Dispatch(const Ipc::IpcHeader& request, MessageParcel& data, MessageParcel& reply)
{
    return state_->Dispatch(request, data, reply);
}

bool SystemAbilityManager::IsLoaded(int32_t systemAbilityId) const
{
    return state_->IsLoaded(systemAbilityId);
}

std::vector<int32_t> SystemAbilityManager::ListSystemAbilities() const
{
    return state_->List();
}

void SystemAbilityManager::StopLoading()
{
    state_->StopLoading();
}

sptr<IRemoteObject> SystemAbilityManager::GetSystemAbility(int32_t systemAbilityId)
{
    return state_->Find(systemAbilityId);
}

int32_t SystemAbilityManager::AddSystemAbility(int32_t systemAbilityId, const sptr<IRemoteObject>& ability)
{
    return state_->Add(systemAbilityId, ability);
}

int32_t SystemAbilityManager::RemoveSystemAbility(int32_t systemAbilityId)
{
    return state_->Remove(systemAbilityId);
}

int32_t SystemAbilityManager::SubscribeSystemAbility(int32_t systemAbilityId,
                                                     const sptr<ISystemAbilityStatusChange>& listener)
{
    return state_->Subscribe(systemAbilityId, listener);
}

int32_t SystemAbilityManager::UnSubscribeSystemAbility(int32_t systemAbilityId,
                                                       const sptr<ISystemAbilityStatusChange>& listener)
{
    return state_->Unsubscribe(systemAbilityId, listener);
}

int32_t SystemAbilityManager::LoadSystemAbility(int32_t systemAbilityId)
{
    return state_->Load(systemAbilityId);
}

int32_t SystemAbilityManager::UnloadSystemAbility(int32_t systemAbilityId)
{
    return state_->Unload(systemAbilityId);
}

int32_t SystemAbilityManager::AnnounceSystemAbility(int32_t systemAbilityId)
{
    return state_->Announce(systemAbilityId);
}

}  // namespace Vexo
