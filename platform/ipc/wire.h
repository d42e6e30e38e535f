// The datagram of local IPC, byte by byte: a 16-byte header, then the parcel. One datagram is one message
// (SOCK_SEQPACKET, unix(7)); little-endian. Request and reply alternate on a connection.
//   offset 0  u32 magic 0x314E5344 ("DSN1")      4  u16 version (1)      6  u16 flags: bit 0 set in a reply
//   offset 8  u32 ability id      12  u32 request code; in a reply int32 status (IpcStatus or the callee's own)
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

void EncodeHeader(const IpcHeader& header, uint8_t* out);  // IPC_HEADER_SIZE bytes
// Returns null on success, else a static text that says what is wrong with the datagram ("shorter than its header",
// "not of this protocol", …). size is the datagram's own size, which may exceed the bytes that were stored.
const char* DecodeHeader(const uint8_t* data, size_t size, IpcHeader& header);

}  // namespace Vexo::Ipc
