// ServiceClients: stands between local callers and the service. It releases the service for a process that ended
// without doing so: the service counts the processes that use it and is stopped with the last release, and a killed
// client would keep it running for nobody. It unloads the service again when only refused requests had loaded it, and
// it keeps refused requests from filling the log. Called on IPC workers, several at once; the caller is the one that
// IPCSkeleton names. Why: docs/decisions/0027-released-for-the-gone.md.
#pragma once

#include <sys/types.h>

#include <array>
#include <cstdint>
#include <optional>
#include <set>
#include <vector>

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

    // Runs a request for the service and remembers who uses it. Returns what SystemAbilityManager::Dispatch returns. Of
    // the requests of a user that the service would refuse, one a minute reaches it; the others get the same answer.
    int32_t Dispatch(const Ipc::IpcHeader& request, MessageParcel& data, MessageParcel& reply);

    // The calling process is gone, its requests have ended: releases the service if it still counts it. Blocks as a
    // request does; never loads the service.
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
    size_t running_ GUARDED_BY(mutex_) = 0;              // requests that the service has now
    bool isLoadedForNobody_ GUARDED_BY(mutex_) = false;  // by a refused request; nobody has been counted since
    bool isReleasing_ GUARDED_BY(mutex_) = false;        // requests wait until that has ended
    // What the service answered, the bytes of its reply: what it answers next time.
    std::array<std::optional<std::vector<uint8_t>>, REFUSALS> answers_ GUARDED_BY(mutex_);
};

}  // namespace Vexo::Host
