#include "platform/ipc/wire.h"

#include <cstring>

namespace Vexo::Ipc {
namespace {

struct RawHeader {
    uint32_t magic;
    uint16_t version;
    uint16_t flags;
    uint32_t abilityId;
    uint32_t code;
};
static_assert(sizeof(RawHeader) == IPC_HEADER_SIZE);

}  // namespace

void EncodeHeader(const IpcHeader& header, uint8_t* out)
{
    const RawHeader raw{IPC_MAGIC, IPC_VERSION, header.flags, header.abilityId, header.code};
    std::memcpy(out, &raw, sizeof(raw));
}

const char* DecodeHeader(const uint8_t* data, size_t size, IpcHeader& header)
{
    RawHeader raw{};
    if (size < sizeof(raw)) {
        return "shorter than its header";
    }
    std::memcpy(&raw, data, sizeof(raw));
    if (raw.magic != IPC_MAGIC) {
        return "not of this protocol";
    }
    if (raw.version != IPC_VERSION) {
        return "of another version of the protocol";
    }
    if ((raw.flags & ~IPC_FLAG_REPLY) != 0) {
        return "with unknown flags";
    }
    if (size > MAX_DATAGRAM_SIZE) {
        return "larger than 160 KiB";
    }
    header = IpcHeader{raw.flags, raw.abilityId, raw.code};
    return nullptr;
}

}  // namespace Vexo::Ipc
