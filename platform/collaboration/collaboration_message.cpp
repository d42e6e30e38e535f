#include "platform/collaboration/collaboration_message.h"

namespace Vexo::CollaborationFwk {

namespace {

enum MessageKind : uint32_t { START = 1, ANSWER = 2 };

}  // namespace

bool Encode(const StartMessage& message, Parcel& parcel)
{
    return parcel.WriteUint32(START) && parcel.WriteUint32(message.request) &&
           parcel.WriteInt32(message.systemAbilityId) && parcel.WriteUint32(message.flags) &&
           parcel.WriteString(message.action) && parcel.WriteString(message.parameters);
}

bool Encode(const AnswerMessage& message, Parcel& parcel)
{
    return parcel.WriteUint32(ANSWER) && parcel.WriteUint32(message.request) && parcel.WriteInt32(message.code);
}

std::variant<std::monostate, StartMessage, AnswerMessage> Decode(const void* data, size_t size)
{
    Parcel parcel;
    uint32_t kind = 0;
    if (!parcel.ParseFrom(data, size) || !parcel.ReadUint32(kind)) {
        return {};
    }
    if (kind == START) {
        StartMessage start;
        if (parcel.ReadUint32(start.request) && parcel.ReadInt32(start.systemAbilityId) &&
            parcel.ReadUint32(start.flags) && parcel.ReadString(start.action) && parcel.ReadString(start.parameters) &&
            parcel.GetReadableBytes() == 0) {
            return start;
        }
    } else if (kind == ANSWER) {
        AnswerMessage answer;
        if (parcel.ReadUint32(answer.request) && parcel.ReadInt32(answer.code) && parcel.GetReadableBytes() == 0) {
            return answer;
        }
    }
    return {};
}

}  // namespace Vexo::CollaborationFwk
