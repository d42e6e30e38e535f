// Arguments that several requests of the daemon's own ability have. Functions without state; any thread. False: the
// parcel holds no such arguments.
#pragma once

#include <chrono>
#include <cstdint>

#include "interfaces/host_answers.h"
#include "platform/ipc/parcel.h"

namespace Vexo::Host {

// How long the daemon may wait for a change before it answers: at most HOST_MAX_WAIT.
inline bool ReadWaitLimit(MessageParcel& data, std::chrono::milliseconds& limit)
{
    uint32_t limitMs = 0;
    if (!data.ReadUint32(limitMs) || limitMs > HOST_MAX_WAIT.count()) {
        return false;
    }
    limit = std::chrono::milliseconds(limitMs);
    return true;
}

// Waits for an answer that differs from the one with that revision.
inline bool ReadWait(MessageParcel& data, uint32_t& revision, std::chrono::milliseconds& limit)
{
    return data.ReadUint32(revision) && ReadWaitLimit(data, limit);
}

}  // namespace Vexo::Host
