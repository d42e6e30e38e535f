#include "platform/ipc/unix_socket.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>

#include "platform/ipc/wire.h"

namespace Vexo::Ipc {
namespace {

constexpr std::chrono::milliseconds PROBE_LIMIT{1000};

std::string ErrorText(int error)
{
    return std::generic_category().message(error);
}

Failure SocketError(const std::string& path, ErrorCode code, const std::string& cause)
{
    return Fail(code, path + ": " + cause);
}

Failure SocketError(const std::string& path, int number)
{
    return SocketError(path, ErrorCodeOf(number), ErrorText(number));
}

Result<sockaddr_un> AddressOf(const std::string& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof(address.sun_path)) {
        return SocketError(path.empty() ? "(empty)" : path, ErrorCode::INVALID_ARGUMENT,
                           "a socket path has 1 to " + std::to_string(sizeof(address.sun_path) - 1) + " characters");
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    return address;
}

UniqueFd NewSocket()
{
    return UniqueFd(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
}

// Connect and Bind return 0 or an errno.
int Connect(int socket, const sockaddr_un& address)
{
    return ::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0 ? 0 : errno;
}

int Bind(int socket, const sockaddr_un& address)
{
    return ::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0 ? 0 : errno;
}

timeval ToTimeval(std::chrono::microseconds limit)
{
    // Use at least 1 µs, because zero means no limit.
    const auto count = std::max<int64_t>(limit.count(), 1);
    return timeval{static_cast<time_t>(count / 1'000'000), static_cast<suseconds_t>(count % 1'000'000)};
}

// Removes the socket file if no process listens on it. Fails if a process listens on the file.
Result<void> RemoveStale(const std::string& path, const sockaddr_un& address)
{
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) {
        return errno == ENOENT ? Result<void>() : Result<void>(SocketError(path, errno));
    }
    if (!S_ISSOCK(status.st_mode)) {
        return SocketError(path, ErrorCode::ALREADY_EXISTS, "exists and is no socket; remove it or name another path");
    }
    const UniqueFd probe = NewSocket();
    SetSendLimit(probe.Get(), PROBE_LIMIT);
    const int error = Connect(probe.Get(), address);
    if (error == ECONNREFUSED) {
        return ::unlink(path.c_str()) == 0 || errno == ENOENT ? Result<void>() : Result<void>(SocketError(path, errno));
    }
    if (error == 0 || error == EAGAIN || error == EPROTOTYPE) {
        return SocketError(path, ErrorCode::ALREADY_EXISTS, "in use by another process");
    }
    return SocketError(path, ErrorCode::SYSTEM, "exists and cannot be probed (" + ErrorText(error) + ")");
}

}  // namespace

Result<UniqueFd> ListenOn(const std::string& path, mode_t mode)
{
    Result<sockaddr_un> address = AddressOf(path);
    if (!address) {
        return Failure(std::move(address).error());
    }
    UniqueFd socket(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!socket) {
        return SocketError(path, errno);
    }
    // Sets the mode before bind creates the socket's file, so that no other user can connect before the chmod below.
    // The umask may remove bits of the mode when the file is created. The chmod then sets these bits again.
    ::fchmod(socket.Get(), mode);
    int error = Bind(socket.Get(), address.value());
    if (error == EADDRINUSE) {
        Result<void> removed = RemoveStale(path, address.value());
        if (!removed) {
            return Failure(std::move(removed).error());
        }
        error = Bind(socket.Get(), address.value());
    }
    if (error != 0) {
        return SocketError(path, ErrorCode::SYSTEM, "cannot create the socket (" + ErrorText(error) + ")");
    }
    if (::chmod(path.c_str(), mode) != 0 || ::listen(socket.Get(), SOMAXCONN) != 0) {
        const int cause = errno;
        ::unlink(path.c_str());
        return SocketError(path, cause);
    }
    return socket;
}

Result<UniqueFd> ConnectTo(const std::string& path, std::chrono::milliseconds limit)
{
    Result<sockaddr_un> address = AddressOf(path);
    if (!address) {
        return Failure(std::move(address).error());
    }
    UniqueFd socket = NewSocket();
    if (!socket) {
        return SocketError(path, errno);
    }
    SetSendLimit(socket.Get(), limit);  // connect(2) obeys the send limit too
    int error = Connect(socket.Get(), address.value());
    while (error == EINTR) {
        error = Connect(socket.Get(), address.value());
    }
    switch (error) {
        case 0:
            ReserveSendBuffer(socket.Get());
            return socket;
        case ENOENT:
        case ENOTDIR:
            return SocketError(path, ErrorCode::NOT_FOUND, "no such file");
        case ECONNREFUSED:
            return SocketError(path, ErrorCode::UNAVAILABLE, "nobody listens");
        case EACCES:
            return SocketError(path, ErrorCode::PERMISSION_DENIED, "permission denied");
        case EAGAIN:
            return SocketError(path, ErrorCode::UNAVAILABLE, "too busy to accept a connection");
        case EPROTOTYPE:
            return SocketError(path, ErrorCode::INVALID_ARGUMENT, "a socket of another kind");
        default:
            return SocketError(path, error);
    }
}

void SetSendLimit(int socket, std::chrono::microseconds limit)
{
    const timeval value = ToTimeval(limit);
    ::setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &value, sizeof(value));
}

void SetReceiveLimit(int socket, std::chrono::microseconds limit)
{
    const timeval value = ToTimeval(limit);
    ::setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &value, sizeof(value));
}

void ReserveSendBuffer(int socket)
{
    const int size = static_cast<int>(MAX_DATAGRAM_SIZE) + 16 * 1024;
    int current = 0;
    socklen_t length = sizeof(current);
    if (::getsockopt(socket, SOL_SOCKET, SO_SNDBUF, &current, &length) == 0 && current < size) {
        ::setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &size, sizeof(size));
    }
}

bool ReadPeerCredentials(int socket, PeerCredentials& peer)
{
    ucred credentials{};
    socklen_t length = sizeof(credentials);
    if (::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &length) != 0) {
        return false;
    }
    std::vector<gid_t> groups(32);
    length = static_cast<socklen_t>(groups.size() * sizeof(gid_t));
    int result = ::getsockopt(socket, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &length);
    if (result != 0 && errno == ERANGE) {
        groups.resize(length / sizeof(gid_t));
        result = ::getsockopt(socket, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &length);
    }
    if (result != 0) {
        return false;
    }
    groups.resize(length / sizeof(gid_t));
    peer = PeerCredentials{credentials.pid, credentials.uid, credentials.gid, std::move(groups)};
    return true;
}

}  // namespace Vexo::Ipc
