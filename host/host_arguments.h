// Reads arguments that several requests of ability 1164 have in common. Any thread may call the functions, which keep
// no state. Each function returns false if the arguments are missing or out of range.
#pragma once

#include <chrono>
#include <cstdint>

#include "interfaces/host_answers.h"
#include "platform/ipc/parcel.h"

namespace Vexo::Host {

// Reads how long a request may wait for an answer: at most HOST_MAX_WAIT.
inline bool ReadWaitLimit(MessageParcel& data, std::chrono::milliseconds& limit)
{
    uint32_t limitMs = 0;
    if (!data.ReadUint32(limitMs) || limitMs > HOST_MAX_WAIT.count()) {
        return false;
    }
    limit = std::chrono::milliseconds(limitMs);
    return true;
}

// Reads the arguments of a request that waits for a change: the revision that the caller knows, and how long the
// request may wait.
inline bool ReadWait(MessageParcel& data, uint32_t& revision, std::chrono::milliseconds& limit)
{
    return data.ReadUint32(revision) && ReadWaitLimit(data, limit);
}

}  // namespace Vexo::Host
