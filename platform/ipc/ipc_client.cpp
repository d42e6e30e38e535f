#include "platform/ipc/ipc_client.h"

#include <sys/socket.h>
#include <sys/uio.h>

#include <algorithm>
#include <cerrno>

#include "platform/ipc/unix_socket.h"

namespace Vexo::Ipc {
namespace {

constexpr std::chrono::milliseconds CONNECT_LIMIT{5000};
constexpr std::chrono::microseconds RECEIVE_LIMIT_SLACK{1000};

std::chrono::microseconds Remaining(SteadyTime deadline)
{
    return std::chrono::duration_cast<std::chrono::microseconds>(deadline - Clock::System().Now());
}

}  // namespace

IpcConnection::IpcConnection(UniqueFd socket) : socket_(std::move(socket)) {}

Result<std::shared_ptr<IpcConnection>> IpcConnection::Connect(const std::string& socketPath)
{
    Result<UniqueFd> socket = ConnectTo(socketPath, CONNECT_LIMIT);
    if (!socket) {
        return Failure(std::move(socket).error());
    }
    return std::shared_ptr<IpcConnection>(new IpcConnection(std::move(socket.value())));
}

int32_t IpcConnection::Transact(uint32_t abilityId, uint32_t code, const MessageParcel& data, MessageParcel& reply,
                                std::chrono::milliseconds limit)
{
    const SteadyTime deadline = Clock::System().Now() + limit;
    MutexLock lock(mutex_);
    while (busy_ && !closed_) {
        if (!idle_.WaitUntil(mutex_, deadline) && busy_ && !closed_) {
            return IPC_TIMED_OUT;
        }
    }
    if (closed_) {
        return IPC_CLOSED;
    }
    busy_ = true;
    const int socket = socket_.Get();
    lock.Unlock();
    const int32_t status = Exchange(socket, IpcHeader{0, abilityId, code}, data, reply, deadline);
    lock.Lock();
    busy_ = false;
    if (closed_) {
        socket_.Reset();
    }
    idle_.NotifyOne();
    return status;
}

int32_t IpcConnection::Exchange(int socket, const IpcHeader& request, const MessageParcel& data, MessageParcel& reply,
                                SteadyTime deadline)
{
    uint8_t header[IPC_HEADER_SIZE];
    EncodeHeader(request, header);
    iovec parts[2] = {{header, sizeof(header)}, {const_cast<uint8_t*>(data.GetData()), data.GetDataSize()}};
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = 2;
    ssize_t sent = ::sendmsg(socket, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
    while (sent < 0 && (errno == EINTR || errno == EAGAIN) && Remaining(deadline).count() > 0) {
        SetSendLimit(socket, Remaining(deadline));
        sent = ::sendmsg(socket, &message, MSG_NOSIGNAL);
    }
    if (sent < 0 && errno == EAGAIN) {
        return IPC_TIMED_OUT;  // nothing was sent, so no late reply can arrive
    }
    // A server that refuses a connection sends the reason before it closes the connection. So a reply can often be read
    // even after a failed send.
    const int32_t status = Receive(socket, request.abilityId, reply, sent < 0 ? Clock::System().Now() : deadline);
    if (sent < 0) {
        Close();
        return status == IPC_TIMED_OUT ? IPC_CLOSED : status;
    }
    if (status == IPC_TIMED_OUT || status == IPC_CLOSED) {
        Close();
    }
    return status;
}

int32_t IpcConnection::Receive(int socket, uint32_t abilityId, MessageParcel& reply, SteadyTime deadline)
{
    if (buffer_ == nullptr) {
        buffer_ = std::make_unique_for_overwrite<uint8_t[]>(MAX_DATAGRAM_SIZE);
    }
    ssize_t size = -1;
    int resets = 0;
    do {
        LimitReceive(socket, Remaining(deadline));
        // With MSG_TRUNC, recv(2) returns the size of the whole datagram.
        size = ::recv(socket, buffer_.get(), MAX_DATAGRAM_SIZE, MSG_TRUNC);
        // The kernel reports ECONNRESET once. A reply that arrived before the reset can still be read afterwards.
    } while (size < 0 && (errno == EINTR || (errno == ECONNRESET && resets++ == 0)));
    if (size <= 0) {
        return size < 0 && errno == EAGAIN ? IPC_TIMED_OUT : IPC_CLOSED;
    }
    IpcHeader header;
    const auto bytes = static_cast<size_t>(size);
    const bool decoded = DecodeHeader(buffer_.get(), bytes, header) == nullptr && header.flags == IPC_FLAG_REPLY;
    // An error reply has the ability id 0 if the server has refused the connection or could not decode the request.
    if (!decoded || (header.abilityId != abilityId && header.abilityId != 0)) {
        Close();
        return IPC_BAD_DATAGRAM;
    }
    reply.ParseFrom(buffer_.get() + IPC_HEADER_SIZE, bytes - IPC_HEADER_SIZE);
    return static_cast<int32_t>(header.code);
}

// Limits how long the next recv(2) blocks. remaining: the time until the deadline; recv may block slightly longer. A
// limit that the socket already has is kept if it is not shorter than remaining and at most slightly longer.
// Keeping the limit usually saves a system call, because most requests have the same time limit.
void IpcConnection::LimitReceive(int socket, std::chrono::microseconds remaining)
{
    remaining = std::max(remaining, std::chrono::microseconds(0));
    if (receiveLimit_ < remaining || receiveLimit_ > remaining + 2 * RECEIVE_LIMIT_SLACK) {
        receiveLimit_ = remaining + RECEIVE_LIMIT_SLACK;
        SetReceiveLimit(socket, receiveLimit_);
    }
}

bool IpcConnection::IsOpen() const
{
    const MutexLock lock(mutex_);
    if (closed_ || busy_) {
        return !closed_;
    }
    char byte = 0;
    const ssize_t size = ::recv(socket_.Get(), &byte, sizeof(byte), MSG_PEEK | MSG_DONTWAIT);
    return size > 0 || (size < 0 && (errno == EAGAIN || errno == EINTR));
}

void IpcConnection::Close()
{
    const MutexLock lock(mutex_);
    if (closed_) {
        return;
    }
    closed_ = true;
    if (busy_) {
        ::shutdown(socket_.Get(), SHUT_RDWR);  // wakes the running call, which then closes the socket
    } else {
        socket_.Reset();
    }
    idle_.NotifyAll();
}

RemoteProxy::RemoteProxy(std::shared_ptr<IpcConnection> connection, uint32_t abilityId, std::chrono::milliseconds limit)
    : IRemoteObject({}), connection_(std::move(connection)), abilityId_(abilityId), limit_(limit)
{
}

int RemoteProxy::SendRequest(uint32_t code, MessageParcel& data, MessageParcel& reply, MessageOption&)
{
    return connection_->Transact(abilityId_, code, data, reply, limit_);
}

}  // namespace Vexo::Ipc
