// ServiceClients: passes requests of local callers to the service. The service counts the processes that use it and
// stops when the last of them releases it. If a process ends without a release, ServiceClients releases the service for
// that process. ServiceClients unloads the service if only refused requests have loaded it, and keeps refused requests
// from filling the log. Several IPC workers may call it at once; IPCSkeleton names the caller.
// docs/decisions/0027-released-for-the-gone.md gives the reasons.
#pragma once

#include <sys/types.h>

#include <array>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "host/online/online.h"
#include "platform/ability/system_ability_manager.h"
#include "platform/base/clock.h"
#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"
#include "platform/dfx/log_limit.h"

namespace Vexo::Host {

class ServiceClients : public NoCopyable {
public:
    explicit ServiceClients(sptr<SystemAbilityManager> abilities, const Clock& clock = Clock::System())
        : abilities_(std::move(abilities)), refusalLines_(clock)
    {
    }

    // Passes a request to the service and records the caller as a user of the service. Returns the status of
    // SystemAbilityManager::Dispatch. If the service would refuse requests of a user, only one such request per minute
    // reaches the service. The other requests get a copy of the service's reply.
    int32_t Dispatch(const Ipc::IpcHeader& request, MessageParcel& data, MessageParcel& reply);

    // Asks the service, on behalf of the daemon itself, for the network of the device with the given network id. Then
    // releases the service. Blocks for as long as the request runs. Do not call it on an IPC worker.
    ServiceAnswer StartDistributedNetwork(const std::string& networkId);

    // Releases the service for a process that has ended, if the service still counts that process. Call it after the
    // process's requests have ended, on a thread that acts for the process. Blocks for as long as the service takes to
    // handle the release. Never loads the service.
    void ReleaseForGoneProcess();

private:
    enum class Refusal : size_t { OTHER_INTERFACE, UNKNOWN_CODE, NO_RIGHTS };
    static constexpr size_t REFUSALS = 3;

    static std::optional<Refusal> WhyRefused(uint32_t code, MessageParcel& data);
    int32_t Refuse(Refusal why, const Ipc::IpcHeader& request, MessageParcel& data, MessageParcel& reply);
    int32_t Run(const Ipc::IpcHeader& request, MessageParcel& data, MessageParcel& reply);
    void Begin(uint32_t code);
    void End(uint32_t code, bool wasCounted, bool wasLoaded);
    void Release();

    const sptr<SystemAbilityManager> abilities_;
    QuviewDFX::LogLimit<uid_t> refusalLines_;
    Mutex mutex_;
    CondVar released_;
    std::set<pid_t> users_ GUARDED_BY(mutex_);
    size_t running_ GUARDED_BY(mutex_) = 0;              // requests that the service handles now
    bool isLoadedForNobody_ GUARDED_BY(mutex_) = false;  // only a refused request has loaded the service
    bool isReleasing_ GUARDED_BY(mutex_) = false;        // the service is being released; new requests wait
    // For each reason of refusal: the service's reply to an earlier request. The reply is sent again for later
    // requests.
    std::array<std::optional<std::vector<uint8_t>>, REFUSALS> answers_ GUARDED_BY(mutex_);
};

}  // namespace Vexo::Host
