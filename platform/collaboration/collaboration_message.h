// The messages that two collaboration frameworks exchange over their session, as parcels (platform/ipc/parcel.h),
// little-endian:
//   START   uint32 1, uint32 request, int32 ability id, uint32 flags, string action, string parameters
//   ANSWER  uint32 2, uint32 request, int32 code (CollaborationResult)
// Pure functions.
#pragma once

#include <cstdint>
#include <string>
#include <variant>

#include "platform/ipc/parcel.h"

namespace Vexo::CollaborationFwk {

struct StartMessage {
    uint32_t request = 0;
    int32_t systemAbilityId = 0;
    uint32_t flags = 0;
    std::string action;
    std::string parameters;
};

struct AnswerMessage {
    uint32_t request = 0;
    int32_t code = 0;
};

// False when it does not fit.
bool Encode(const StartMessage& message, Parcel& parcel);
bool Encode(const AnswerMessage& message, Parcel& parcel);

// Empty (monostate) for a message that is truncated, has bytes left over, or is of an unknown kind.
std::variant<std::monostate, StartMessage, AnswerMessage> Decode(const void* data, size_t size);

}  // namespace Vexo::CollaborationFwk
