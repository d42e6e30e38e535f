// Fuzzes the decoding of an IPC datagram. First its header is decoded, then values are read from its parcel. The
// request code in the header selects the types of these values.
#include "fuzz/fuzz_target.h"
#include "platform/ipc/wire.h"

namespace Vexo::Ipc {
namespace {

const std::vector<std::string> TEXTS{"wlan0", "", "wlan1"};

std::vector<std::string> Samples()
{
    MessageParcel parcel;
    const bool written = parcel.WriteInterfaceToken(u"Interface") && parcel.WriteBool(true) && parcel.WriteInt32(-1) &&
                         parcel.WriteInt64(2) && parcel.WriteUint16(3) && parcel.WriteString("text") &&
                         parcel.WriteStringVector(TEXTS);
    Fuzz::Require(written, "the sample fits");
    std::string datagram(IPC_HEADER_SIZE, '\0');
    // Each octal digit of the request code selects the type of one read, the last digit first: u16string, bool, int32,
    // int64, uint16, string, vector of strings.
    EncodeHeader({0, 1163, 00'6543210}, reinterpret_cast<uint8_t*>(datagram.data()));
    return {datagram.append(reinterpret_cast<const char*>(parcel.GetData()), parcel.GetDataSize())};
}

// Reads one value. If that succeeds, writes the value to another parcel and returns true. Otherwise returns false.
template <typename Value>
bool Copy(MessageParcel& from, MessageParcel& to, bool (Parcel::*read)(Value&), auto write)
{
    Value value{};
    return (from.*read)(value) && (Fuzz::Require((to.*write)(value), "what was read can be written"), true);
}

bool CopyNext(uint32_t type, MessageParcel& from, MessageParcel& to)
{
    switch (type % 8) {
        case 0:
            return Copy(from, to, &Parcel::ReadString16, &Parcel::WriteString16);
        case 1:
            return Copy(from, to, &Parcel::ReadBool, &Parcel::WriteBool);
        case 2:
            return Copy(from, to, &Parcel::ReadInt32, &Parcel::WriteInt32);
        case 3:
            return Copy(from, to, &Parcel::ReadInt64, &Parcel::WriteInt64);
        case 4:
            return Copy(from, to, &Parcel::ReadUint16, &Parcel::WriteUint16);
        case 5:
            return Copy(from, to, &Parcel::ReadString, &Parcel::WriteString);
        case 6:
            return Copy(from, to, &Parcel::ReadStringVector, &Parcel::WriteStringVector);
        default:
            return Copy(from, to, &Parcel::ReadDouble, &Parcel::WriteDouble);
    }
}

bool Run(std::string_view input)
{
    const auto* bytes = reinterpret_cast<const uint8_t*>(input.data());
    IpcHeader header;
    if (DecodeHeader(bytes, input.size(), header) != nullptr) {
        return false;
    }
    std::string headerAgain(IPC_HEADER_SIZE, '\0');
    EncodeHeader(header, reinterpret_cast<uint8_t*>(headerAgain.data()));
    Fuzz::Require(input.starts_with(headerAgain), "a header encodes to itself");

    MessageParcel parcel;
    MessageParcel again;
    Fuzz::Require(parcel.ParseFrom(bytes + IPC_HEADER_SIZE, input.size() - IPC_HEADER_SIZE), "what was sent fits");
    uint32_t order = header.code;
    size_t left = parcel.GetReadableBytes();
    for (; left != 0 && CopyNext(order, parcel, again); order = order >> 3 | order << 29) {
        Fuzz::Require(parcel.GetReadableBytes() < left, "a read consumes bytes");
        left = parcel.GetReadableBytes();
    }
    Fuzz::Require(parcel.GetReadableBytes() == left, "a failed read consumes nothing");
    Fuzz::Require(again.GetDataSize() == parcel.GetDataSize() - left,
                  "a value is written with as many bytes as it was read from");
    return left == 0;
}

const Fuzz::Registration REGISTRATION({"ipc_parcel", Samples, Run});

}  // namespace
}  // namespace Vexo::Ipc
