// ServiceClients: passes requests of local callers to the service. The service counts the processes that use it and
// stops with the last release. ServiceClients therefore releases it for a process that ended without doing so, unloads
// it if only refused requests have loaded it, and keeps refused requests from filling the log. Called on IPC workers,
// several at once; IPCSkeleton names the caller. Why: docs/decisions/0027-released-for-the-gone.md.
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
    // SystemAbilityManager::Dispatch. Of the requests of one user that the service would refuse, one per minute reaches
    // the service; the others get a copy of its reply.
    int32_t Dispatch(const Ipc::IpcHeader& request, MessageParcel& data, MessageParcel& reply);

    // Requests the network of the device with that network id from the service, on behalf of the daemon itself, and
    // releases the service again. Blocks for as long as the request. Not called on IPC workers.
    ServiceAnswer StartDistributedNetwork(const std::string& networkId);

    // Call on a thread that acts for a process that has ended, after its requests have ended. Releases the service if
    // the service still counts the process. Blocks for as long as a request; never loads the service.
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
    bool isLoadedForNobody_ GUARDED_BY(mutex_) = false;  // a refused request loaded it, and no process uses it yet
    bool isReleasing_ GUARDED_BY(mutex_) = false;        // the service is being released; new requests wait
    // For each reason of refusal, the service's reply to an earlier request, to be sent again.
    std::array<std::optional<std::vector<uint8_t>>, REFUSALS> answers_ GUARDED_BY(mutex_);
};

}  // namespace Vexo::Host
