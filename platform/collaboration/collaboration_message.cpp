#include "platform/collaboration/collaboration_message.h"

#include <utility>

namespace Vexo::CollaborationFwk {

namespace {

enum MessageKind : uint32_t { START = 1, ANSWER = 2, DATA = 3, READY = 4 };

bool Read(Parcel& parcel, StartMessage& start)
{
    return parcel.ReadUint32(start.request) && parcel.ReadInt32(start.systemAbilityId) &&
           parcel.ReadUint32(start.flags) && parcel.ReadString(start.action) && parcel.ReadString(start.parameters);
}

bool Read(Parcel& parcel, AnswerMessage& answer)
{
    return parcel.ReadUint32(answer.request) && parcel.ReadInt32(answer.code);
}

bool Read(Parcel& parcel, DataMessage& data)
{
    return parcel.ReadString(data.bytes) && !data.bytes.empty();
}

bool Read(Parcel&, ReadyMessage&)
{
    return true;
}

template <typename Kind>
Message ReadWhole(Parcel& parcel)
{
    Kind message;
    return Read(parcel, message) && parcel.GetReadableBytes() == 0 ? Message(std::move(message)) : Message();
}

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

bool Encode(const DataMessage& message, Parcel& parcel)
{
    return parcel.WriteUint32(DATA) && parcel.WriteString(message.bytes);
}

bool Encode(const ReadyMessage&, Parcel& parcel)
{
    return parcel.WriteUint32(READY);
}

Message Decode(const void* data, size_t size)
{
    Parcel parcel;
    uint32_t kind = 0;
    if (!parcel.ParseFrom(data, size) || !parcel.ReadUint32(kind)) {
        return {};
    }
    switch (kind) {
        case START:
            return ReadWhole<StartMessage>(parcel);
        case ANSWER:
            return ReadWhole<AnswerMessage>(parcel);
        case DATA:
            return ReadWhole<DataMessage>(parcel);
        case READY:
            return ReadWhole<ReadyMessage>(parcel);
        default:
            return {};
    }
}

}  // namespace Vexo::CollaborationFwk
