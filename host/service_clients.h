// ServiceClients: releases the service for a process that ended without doing so. The service counts the processes that
// use it and is stopped with the last release; a killed or interrupted client would keep it running for nobody. Called
// on IPC workers, several at once; the caller is the one that IPCSkeleton names.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <set>

#include "platform/ability/system_ability_manager.h"
#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"

namespace Vexo::Host {

class ServiceClients : public NoCopyable {
public:
    explicit ServiceClients(sptr<SystemAbilityManager> abilities) : abilities_(std::move(abilities)) {}

    // Runs a request for the service and remembers who uses it. Returns what SystemAbilityManager::Dispatch returns.
    int32_t Dispatch(const Ipc::IpcHeader& request, MessageParcel& data, MessageParcel& reply);

    // The calling process is gone, its requests have ended: releases the service if it still counts it. Blocks as a
    // request does; never loads the service.
    void ReleaseForGoneProcess();

private:
    const sptr<SystemAbilityManager> abilities_;
    Mutex mutex_;
    std::set<pid_t> users_ GUARDED_BY(mutex_);
};

}  // namespace Vexo::Host
