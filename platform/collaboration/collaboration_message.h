// The messages that the collaboration frameworks of two devices exchange. Each of them is sent as one message of a
// soft-bus session. All numbers are little-endian. A string is an int32 length n, n bytes, a NUL, and zeros up to the
// next multiple of four.
//   START    bytes 0-3   uint32 1                  ANSWER   bytes 0-3   uint32 2
//            bytes 4-7   uint32 request number              bytes 4-7   uint32 request number of the START
//            bytes 8-11  int32 id of the ability            bytes 8-11  int32 code: 0 if the ability runs, otherwise a
//            to start                                                   CollaborationResult or PeerRefusal
//            bytes 12-15 uint32 flags
//            string action, string parameters
//   DATA     bytes 0-3   uint32 3                  READY    bytes 0-3   uint32 4: a data callback is registered at the
//            string       at least one byte                              sender
// A message must end after these fields. Pure functions; thread-safe.
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

struct DataMessage {
    std::string bytes;  // never empty
};

struct ReadyMessage {};

using Message = std::variant<std::monostate, StartMessage, AnswerMessage, DataMessage, ReadyMessage>;

// Return false if the message does not fit into the parcel.
bool Encode(const StartMessage& message, Parcel& parcel);
bool Encode(const AnswerMessage& message, Parcel& parcel);
bool Encode(const DataMessage& message, Parcel& parcel);
bool Encode(const ReadyMessage& message, Parcel& parcel);

// Returns an empty value (monostate) if the message is truncated, has extra bytes at the end, or is of an unknown kind.
Message Decode(const void* data, size_t size);

}  // namespace Vexo::CollaborationFwk
