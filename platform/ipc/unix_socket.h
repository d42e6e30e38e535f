// Functions for Unix-domain SOCK_SEQPACKET sockets (unix(7)) of the IPC server and client. Thread-safe. A function
// blocks only if its comment says so. Used by ipc_server.cpp and ipc_client.cpp.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>

#include "platform/base/result.h"
#include "platform/base/unique_fd.h"
#include "platform/ipc/ipc_skeleton.h"

namespace Vexo::Ipc {

// Returns a listening, non-blocking socket. Replaces a socket file on which no process listens. Fails if a process
// listens on the file, or if the file is not a socket. Blocks at most 1 s. The error names the path and the cause.
[[nodiscard]] Result<UniqueFd> ListenOn(const std::string& path, mode_t mode);

// Returns a connected, blocking socket. Blocks while the listener's queue is full. limit: the longest time to block.
[[nodiscard]] Result<UniqueFd> ConnectTo(const std::string& path, std::chrono::milliseconds limit);

// Set the time limit of a blocking send or receive on the socket. A call that exceeds the limit fails with EAGAIN.
void SetSendLimit(int socket, std::chrono::microseconds limit);
void SetReceiveLimit(int socket, std::chrono::microseconds limit);

// Makes the send buffer large enough for the largest datagram, even if the system's default size is smaller.
void ReserveSendBuffer(int socket);

// Reads the credentials that the kernel recorded when the peer connected. Returns false if the kernel does not provide
// them.
bool ReadPeerCredentials(int socket, PeerCredentials& peer);

}  // namespace Vexo::Ipc
