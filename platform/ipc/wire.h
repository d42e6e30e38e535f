// The datagram of local IPC, byte by byte: a 16-byte header, then the parcel. One datagram is one message
// (SOCK_SEQPACKET, unix(7)). Numbers are little-endian. Requests and replies alternate on a connection. The header:
//   offset 0    u32   magic 0x314E5344 ("DSN1")
//   offset 4    u16   version (1)
//   offset 6    u16   flags; bit 0 is set in a reply
//   offset 8    u32   ability id
//   offset 12   u32   request code; in a reply: int32 status (an IpcStatus or the called ability's own code)
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/ipc/parcel.h"

namespace Vexo::Ipc {

inline constexpr uint32_t IPC_MAGIC = 0x314E5344;
inline constexpr uint16_t IPC_VERSION = 1;
inline constexpr uint16_t IPC_FLAG_REPLY = 1;
inline constexpr size_t IPC_HEADER_SIZE = 16;
inline constexpr size_t MAX_DATAGRAM_SIZE = IPC_HEADER_SIZE + MAX_PARCEL_SIZE;  // 160 KiB

struct IpcHeader {
    uint16_t flags = 0;
    uint32_t abilityId = 0;
    uint32_t code = 0;
};

void EncodeHeader(const IpcHeader& header, uint8_t* out);  // writes IPC_HEADER_SIZE bytes to out
// Returns null on success. Otherwise returns a static text that says what is wrong with the datagram, such as "shorter
// than its header". size: the size of the whole datagram, of which fewer bytes may have been stored in data.
const char* DecodeHeader(const uint8_t* data, size_t size, IpcHeader& header);

}  // namespace Vexo::Ipc
