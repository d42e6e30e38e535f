// The status codes of the IPC layer, for callers and handlers.
#pragma once

#include <cstdint>

namespace Vexo {

// The status that a request returns with its reply parcel. The service's own result codes, such as 301, use the same
// field.
enum IpcStatus : int32_t {
    IPC_OK = 0,
    IPC_UNKNOWN_REQUEST = 305,      // unknown request code, or a refusal that the reply parcel explains
    IPC_UNKNOWN_ABILITY = 306,      // no ability is registered under that id
    IPC_ABILITY_UNAVAILABLE = 307,  // the ability could not be loaded in time
    IPC_BAD_DATAGRAM = 308,         // truncated, oversized, or not of this protocol
    IPC_BUSY = 309,                 // too many connections; the server closes this connection
    IPC_REFUSED = 310,              // this caller may not connect
    IPC_CLOSED = 311,               // client side: the connection is gone
    IPC_TIMED_OUT = 312,            // client side: the time limit of the call has passed
    IPC_HANDLER_FAILED = 313,       // the request's handler threw an exception
};

}  // namespace Vexo
