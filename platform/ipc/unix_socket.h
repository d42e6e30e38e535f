// Unix-domain SOCK_SEQPACKET sockets, as the server and the client of this module need them (unix(7)). Plain functions;
// any thread; they block no longer than stated. Users: ipc_server.cpp, ipc_client.cpp.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>

#include "platform/base/result.h"
#include "platform/base/unique_fd.h"
#include "platform/ipc/ipc_skeleton.h"

namespace Vexo::Ipc {

// A bound, listening, non-blocking socket. Replaces a socket file on which nobody listens; refuses one that is in use
// and a file that is no socket. The error names the path and the cause.
[[nodiscard]] Result<UniqueFd> ListenOn(const std::string& path, mode_t mode);

// A connected blocking socket; waits at most limit for a place in the queue of the listener.
[[nodiscard]] Result<UniqueFd> ConnectTo(const std::string& path, std::chrono::milliseconds limit);

// Blocking sends and receives on the socket fail with EAGAIN after the limit.
void SetSendLimit(int socket, std::chrono::microseconds limit);
void SetReceiveLimit(int socket, std::chrono::microseconds limit);

// Makes room for one datagram of the largest size, whatever the system's default is.
void ReserveSendBuffer(int socket);

// Who connected, as the kernel recorded it; false when the kernel does not say.
bool ReadPeerCredentials(int socket, PeerCredentials& peer);

}  // namespace Vexo::Ipc
