#include "platform/ipc/server_connection.h"

#include <poll.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include <cerrno>

#include "platform/base/check.h"
#include "platform/ipc/wire.h"

namespace Vexo::Ipc {
namespace {

int SendMessage(int socket, iovec* parts, size_t count)
{
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = count;
    ssize_t sent = -1;
    do {
        sent = ::sendmsg(socket, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
    } while (sent < 0 && errno == EINTR);
    return sent < 0 ? errno : 0;
}

}  // namespace

int SendReply(int socket, uint32_t abilityId, int32_t status, const MessageParcel& reply)
{
    uint8_t header[IPC_HEADER_SIZE];
    EncodeHeader(IpcHeader{IPC_FLAG_REPLY, abilityId, static_cast<uint32_t>(status)}, header);
    iovec parts[2] = {{header, sizeof(header)}, {const_cast<uint8_t*>(reply.GetData()), reply.GetDataSize()}};
    return SendMessage(socket, parts, 2);
}

ServerConnection::ServerConnection(uint64_t id, int epoll, UniqueFd socket, const CallerIdentity& caller,
                                   std::chrono::milliseconds sendLimit)
    : id_(id), epoll_(epoll), caller_(caller), sendLimit_(sendLimit), socket_(std::move(socket))
{
}

ssize_t ServerConnection::Receive(uint8_t* datagram, int flags) const
{
    ssize_t size = -1;
    do {
        // With MSG_TRUNC, recv(2) returns the size of the whole datagram. The call provides no buffer for control data,
        // so the kernel closes any descriptors that the client has sent.
        size = ::recv(socket_.Get(), datagram, MAX_DATAGRAM_SIZE, MSG_TRUNC | flags);
    } while (size < 0 && errno == EINTR);
    return size;
}

bool ServerConnection::PeerIsGone() const
{
    pollfd state{socket_.Get(), POLLRDHUP, 0};
    return ::poll(&state, 1, 0) == 1;
}

bool ServerConnection::AddToEpoll()
{
    epoll_event event{EPOLLIN | EPOLLRDHUP | EPOLLONESHOT, {.u64 = id_}};
    const MutexLock lock(mutex_);
    stage_ = Stage::READING;
    return ::epoll_ctl(epoll_, EPOLL_CTL_ADD, socket_.Get(), &event) == 0;
}

// A disconnect of the client and a later reply may cause two events at the same moment, so two workers may get an
// event. The stage decides which worker owns the connection.
ServerConnection::Turn ServerConnection::TakeTurn(uint32_t events)
{
    const MutexLock lock(mutex_);
    switch (stage_) {
        case Stage::READING:
            stage_ = Stage::RUNNING;
            return Turn::SERVE;
        case Stage::SENDING:
            switch (SendUnsent()) {
                case Sent::WHOLE:
                    stage_ = Stage::RUNNING;
                    return Turn::SERVE;
                case Sent::PARKED:
                    return Turn::NONE;
                case Sent::FAILED:
                    stage_ = Stage::RUNNING;
                    return Turn::DROP;
            }
            return Turn::NONE;
        case Stage::AWAITING_REPLY:
            if ((events & (EPOLLHUP | EPOLLERR)) == 0) {
                return Turn::NONE;
            }
            stage_ = Stage::RUNNING;
            return Turn::DROP;
        case Stage::RUNNING:
        case Stage::CLOSED:
            break;
    }
    return Turn::NONE;
}

ServerConnection::Sent ServerConnection::Send(uint32_t abilityId, int32_t status, const MessageParcel& reply)
{
    const int error = SendReply(socket_.Get(), abilityId, status, reply);
    if (error != EAGAIN) {
        errno = error;
        return error == 0 ? Sent::WHOLE : Sent::FAILED;
    }
    const MutexLock lock(mutex_);
    KeepUnsent(abilityId, status, reply);
    WaitForRoom();
    return Sent::PARKED;
}

ServerConnection::Sent ServerConnection::AwaitReply()
{
    const MutexLock lock(mutex_);
    DISTNET_ASSERT(stage_ == Stage::RUNNING, "only the worker that has the connection releases it");
    if (!unsent_.empty()) {
        return SendUnsent();  // the reply was completed before the handler returned
    }
    ArmFor(0, Stage::AWAITING_REPLY);  // waits for no event, but the kernel still reports a disconnect
    return Sent::PARKED;
}

void ServerConnection::SendLater(uint32_t abilityId, int32_t status, const MessageParcel& reply)
{
    const MutexLock lock(mutex_);
    if (stage_ == Stage::CLOSED) {
        return;
    }
    KeepUnsent(abilityId, status, reply);
    if (stage_ != Stage::AWAITING_REPLY) {
        return;  // a worker still owns the connection and will send the reply
    }
    const Sent sent = SendUnsent();
    if (sent == Sent::FAILED) {
        ::shutdown(socket_.Get(), SHUT_RDWR);  // wakes a worker, which drops the connection
    }
    if (sent != Sent::PARKED) {
        ArmFor(EPOLLIN | EPOLLRDHUP, Stage::READING);
    }
}

void ServerConnection::Arm()
{
    const MutexLock lock(mutex_);
    DISTNET_ASSERT(stage_ == Stage::RUNNING, "only a connection that was taken by a worker is armed again");
    ArmFor(EPOLLIN | EPOLLRDHUP, Stage::READING);
}

void ServerConnection::ArmFor(uint32_t events, Stage stage)
{
    stage_ = stage;
    epoll_event event{events | EPOLLONESHOT, {.u64 = id_}};
    ::epoll_ctl(epoll_, EPOLL_CTL_MOD, socket_.Get(), &event);
}

void ServerConnection::Close()
{
    const MutexLock lock(mutex_);
    stage_ = Stage::CLOSED;
    socket_.Reset();
    unsent_ = {};
    timer_.Cancel();
}

bool ServerConnection::HasSendTimedOut()
{
    const MutexLock lock(mutex_);
    return wasGivenUp_;
}

void ServerConnection::KeepUnsent(uint32_t abilityId, int32_t status, const MessageParcel& reply)
{
    unsent_.resize(IPC_HEADER_SIZE);
    EncodeHeader(IpcHeader{IPC_FLAG_REPLY, abilityId, static_cast<uint32_t>(status)}, unsent_.data());
    unsent_.insert(unsent_.end(), reply.GetData(), reply.GetData() + reply.GetDataSize());
}

ServerConnection::Sent ServerConnection::SendUnsent()
{
    iovec whole{unsent_.data(), unsent_.size()};
    const int error = SendMessage(socket_.Get(), &whole, 1);
    if (error == EAGAIN) {
        WaitForRoom();
        return Sent::PARKED;
    }
    unsent_ = {};
    timer_.Cancel();
    errno = error;
    return error == 0 ? Sent::WHOLE : Sent::FAILED;
}

// Arms the connection for the event that the socket has space for the reply. Does not block. The time limit
// (sendLimit_) counts from the first call for the same reply. If the timer cannot be started, the client is
// disconnected at once, because nothing else would limit the wait.
void ServerConnection::WaitForRoom()
{
    if (stage_ != Stage::SENDING) {
        timer_ = Tasks::Timers::System().CallAfter(sendLimit_, [weak = weak_from_this(), wait = ++waits_] {
            if (const auto connection = weak.lock()) {
                connection->OnSendTimeout(wait);
            }
        });
        if (!timer_.IsArmed()) {
            ::shutdown(socket_.Get(), SHUT_RDWR);
        }
    }
    ArmFor(EPOLLOUT, Stage::SENDING);
}

// Shuts the socket down, which wakes a worker. That worker drops the connection, because only a worker may drop it.
// wait: the number of the wait whose time limit has passed.
void ServerConnection::OnSendTimeout(uint64_t wait)
{
    const MutexLock lock(mutex_);
    if (stage_ == Stage::SENDING && wait == waits_) {
        wasGivenUp_ = true;
        ::shutdown(socket_.Get(), SHUT_RDWR);
    }
}

}  // namespace Vexo::Ipc
