// The values of the IPC layer that callers and callees share.
#pragma once

#include <cstdint>

namespace Vexo {

// What a transaction returns beside its reply parcel. The service's own codes (0, 301, 1004500103, …) travel here too.
enum IpcStatus : int32_t {
    IPC_OK = 0,
    IPC_UNKNOWN_REQUEST = 305,  // the default handler: this object has no such request code, or refused it in the reply
    IPC_UNKNOWN_ABILITY = 306,  // no such ability here
    IPC_ABILITY_UNAVAILABLE = 307,  // the ability could not be loaded in time
    IPC_BAD_DATAGRAM = 308,         // truncated, oversized, or not of this protocol
    IPC_BUSY = 309,                 // too many connections; this one is closed
    IPC_REFUSED = 310,              // this caller may not connect
    IPC_CLOSED = 311,               // client side: the connection is gone
    IPC_TIMED_OUT = 312,            // client side: no reply within the limit; the connection is closed
    IPC_HANDLER_FAILED = 313,       // the handler of the request let an exception out
};

}  // namespace Vexo
