// Unix-domain SOCK_SEQPACKET sockets (unix(7)) for the IPC server and client. Plain functions; any thread; each blocks
// no longer than stated. Users: ipc_server.cpp, ipc_client.cpp.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>

#include "platform/base/result.h"
#include "platform/base/unique_fd.h"
#include "platform/ipc/ipc_skeleton.h"

namespace Vexo::Ipc {

// Returns a listening, non-blocking socket. Replaces a socket file that no process listens on. Fails if a process
// listens on it or the file is not a socket. Blocks at most 1 s. The error names the path and the cause.
[[nodiscard]] Result<UniqueFd> ListenOn(const std::string& path, mode_t mode);

// Returns a connected, blocking socket. Blocks at most limit while the listener's queue is full.
[[nodiscard]] Result<UniqueFd> ConnectTo(const std::string& path, std::chrono::milliseconds limit);

// Blocking sends and receives on the socket fail with EAGAIN after the limit.
void SetSendLimit(int socket, std::chrono::microseconds limit);
void SetReceiveLimit(int socket, std::chrono::microseconds limit);

// Makes the send buffer large enough for the largest datagram, whatever the system's default is.
void ReserveSendBuffer(int socket);

// Reads the peer's credentials, as the kernel recorded them at connect. Returns false if the kernel does not provide
// them.
bool ReadPeerCredentials(int socket, PeerCredentials& peer);

}  // namespace Vexo::Ipc
