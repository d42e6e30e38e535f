// Buffers: the memory that one worker of the IPC server uses again for each request. Only that worker uses it. Private
// to ipc_server.cpp.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "platform/ipc/parcel.h"
#include "platform/ipc/wire.h"

namespace Vexo::Ipc {

// After a request, a worker frees the memory of each parcel that contained more than this number of bytes.
inline constexpr size_t KEPT_PARCEL_SIZE = 16 * 1024;

// The datagram buffer is not initialised, because the system then provides only the pages that are written.
struct Buffers {
    std::unique_ptr<uint8_t[]> datagram = std::make_unique_for_overwrite<uint8_t[]>(MAX_DATAGRAM_SIZE);
    MessageParcel data;
    MessageParcel reply;

    void Trim()
    {
        for (MessageParcel* parcel : {&data, &reply}) {
            if (parcel->GetDataSize() > KEPT_PARCEL_SIZE) {
                *parcel = MessageParcel();
            }
        }
    }
};

}  // namespace Vexo::Ipc
