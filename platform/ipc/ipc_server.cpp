#include "platform/ipc/ipc_server.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/uio.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <exception>
#include <system_error>
#include <thread>
#include <unordered_map>
#include <utility>

#include "platform/base/mutex.h"
#include "platform/base/unique_fd.h"
#include "platform/dfx/log.h"
#include "platform/ipc/ipc_types.h"
#include "platform/ipc/unix_socket.h"

namespace Vexo::Ipc {
namespace {

using QuviewDFX::LogError;
using QuviewDFX::LogWarn;

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "Ipc"};

// A client that sends nothing but bad datagrams fills its own socket, not the log.
constexpr uint32_t MAX_BAD_DATAGRAM_LINES = 16;
constexpr int MAX_ACCEPTS_AT_ONCE = 64;
constexpr std::chrono::milliseconds LINGER_LIMIT{2};
constexpr size_t MAX_LINGERING = 8;
// A parcel that grew beyond this gives its memory back after the request.
constexpr size_t KEPT_PARCEL_SIZE = 16 * 1024;

// Only the worker that the epoll handed the connection to touches it, until it arms the connection again.
struct Connection {
    Connection(UniqueFd peer, const CallerIdentity& identity) : socket(std::move(peer)), caller(identity) {}

    const UniqueFd socket;
    const CallerIdentity caller;
    uint32_t badDatagrams = 0;
    // Held while it is armed. The next worker gets it from the kernel, whose ordering the language does not know:
    // taking this lock first makes the hand-over visible.
    Mutex handOver;
};

// What one worker reads into and answers from, kept from request to request. The system gives the pages of the buffer
// as they are first written.
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

class Server : public IpcServer {
public:
    Server(IpcServerOptions options, Identifier identify, Dispatcher dispatch)
        : options_(std::move(options)), identify_(std::move(identify)), dispatch_(std::move(dispatch))
    {
    }
    ~Server() override;

    Result<void> Open();
    void StopAccepting() override;
    IpcServerCounts Counts() const override;

private:
    enum class Growth { DONE, AT_LIMIT, REFUSED };

    void Work();
    bool AwaitEvent(epoll_event& event);
    bool LeavesAfterIdling();
    void GrowWhenNobodyWaits();
    Growth StartWorker();

    void AcceptAll();
    void Accept(UniqueFd socket);
    void TurnAway(UniqueFd socket, IpcStatus status, const char* why);
    void Serve(Connection& connection, Buffers& buffers);
    ssize_t Receive(const Connection& connection, Buffers& buffers, int flags);
    ssize_t Linger(const Connection& connection, Buffers& buffers);
    bool PeerIsGone(const Connection& connection);
    bool Answer(Connection& connection, size_t size, Buffers& buffers);
    int32_t Dispatch(const Connection& connection, const IpcHeader& request, Buffers& buffers);
    void NoteBadDatagram(Connection& connection, const char* what, size_t size);
    bool SendReply(const Connection& connection, uint32_t abilityId, int32_t status, const MessageParcel& reply);
    void Arm(Connection& connection);
    void Drop(Connection& connection);

    const IpcServerOptions options_;
    const Identifier identify_;
    const Dispatcher dispatch_;
    UniqueFd epoll_;
    UniqueFd stopEvent_;
    UniqueFd listener_;
    dev_t socketDevice_ = 0;
    ino_t socketInode_ = 0;

    // The accepting worker's own.
    UniqueFd reserve_;  // given up to accept, and turn away, a client when descriptors run out
    bool turningAway_ = false;

    std::atomic<size_t> waiting_{0};    // workers in epoll_wait
    std::atomic<size_t> lingering_{0};  // workers that wait at a connection's own socket
    std::atomic<bool> stopping_{false};
    std::atomic<bool> saturationTold_{false};

    mutable Mutex mutex_;
    CondVar workerGone_;
    size_t threads_ GUARDED_BY(mutex_) = 0;
    std::unordered_map<Connection*, std::unique_ptr<Connection>> connections_ GUARDED_BY(mutex_);
};

Server::~Server()
{
    StopAccepting();
    const MutexLock lock(mutex_);
    while (threads_ != 0) {
        workerGone_.Wait(mutex_);
    }
}

Result<void> Server::Open()
{
    Result<UniqueFd> listener = ListenOn(options_.socketPath, options_.socketMode);
    if (!listener) {
        return listener.TakeError();
    }
    listener_ = std::move(listener.Value());
    struct stat status {};
    if (::stat(options_.socketPath.c_str(), &status) == 0) {
        socketDevice_ = status.st_dev;
        socketInode_ = status.st_ino;
    }
    epoll_ = UniqueFd(::epoll_create1(EPOLL_CLOEXEC));
    stopEvent_ = UniqueFd(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    reserve_ = UniqueFd(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    epoll_event stop{EPOLLIN, {.ptr = &stopEvent_}};
    epoll_event accept{EPOLLIN | EPOLLONESHOT, {.ptr = &listener_}};
    if (!epoll_ || !stopEvent_ || ::epoll_ctl(epoll_.Get(), EPOLL_CTL_ADD, stopEvent_.Get(), &stop) != 0 ||
        ::epoll_ctl(epoll_.Get(), EPOLL_CTL_ADD, listener_.Get(), &accept) != 0 || StartWorker() != Growth::DONE) {
        return Error{options_.socketPath + ": cannot serve it (" + std::generic_category().message(errno) + ")"};
    }
    return {};
}

void Server::StopAccepting()
{
    if (stopping_.exchange(true)) {
        return;
    }
    struct stat status {};
    // A server that took the path over in the meantime keeps its file.
    if (listener_ && ::stat(options_.socketPath.c_str(), &status) == 0 && status.st_dev == socketDevice_ &&
        status.st_ino == socketInode_) {
        ::unlink(options_.socketPath.c_str());
    }
    if (listener_) {
        ::shutdown(listener_.Get(), SHUT_RDWR);
    }
    if (stopEvent_) {
        ::eventfd_write(stopEvent_.Get(), 1);  // never read, so every worker sees it
    }
}

IpcServerCounts Server::Counts() const
{
    const MutexLock lock(mutex_);
    return IpcServerCounts{connections_.size(), threads_};
}

// ---- Workers: each waits on the one epoll; who gets an event becomes its runner from read to reply
// --------------------

void Server::Work()
{
    ::pthread_setname_np(::pthread_self(), "ipc");
    Buffers buffers;
    epoll_event event{};
    while (AwaitEvent(event)) {
        GrowWhenNobodyWaits();
        if (event.data.ptr == &listener_) {
            AcceptAll();
        } else {
            Serve(*static_cast<Connection*>(event.data.ptr), buffers);
        }
    }
    const MutexLock lock(mutex_);
    --threads_;
    workerGone_.NotifyAll();
}

// False when this worker ends. The worker counts as waiting until an event is its own.
bool Server::AwaitEvent(epoll_event& event)
{
    if (stopping_) {
        return false;
    }
    ++waiting_;
    auto limit = static_cast<int>(options_.threadIdleLimit.count());
    for (;;) {
        const int count = ::epoll_wait(epoll_.Get(), &event, 1, limit);
        if (count == 1) {
            break;
        }
        if (count == 0) {
            if (LeavesAfterIdling()) {
                return false;
            }
            limit = -1;
        }
    }
    --waiting_;
    return !stopping_;
}

// The last worker that waits stays, without a time-out: an idle server makes no wake-ups.
bool Server::LeavesAfterIdling()
{
    size_t waiting = waiting_;
    while (waiting > 1) {
        if (waiting_.compare_exchange_weak(waiting, waiting - 1)) {
            saturationTold_ = false;
            return true;
        }
    }
    return false;
}

void Server::GrowWhenNobodyWaits()
{
    if (waiting_.load() != 0 || stopping_) {
        return;
    }
    const Growth growth = StartWorker();
    if (growth != Growth::DONE && !saturationTold_.exchange(true)) {
        LogWarn(LABEL, "every worker is busy and no more can be made (%{public}s): requests wait",
                growth == Growth::AT_LIMIT ? "limit reached" : "refused by the system");
    }
}

Server::Growth Server::StartWorker()
{
    const MutexLock lock(mutex_);
    if (threads_ >= options_.maxThreads) {
        return Growth::AT_LIMIT;
    }
    try {
        std::thread([this] { Work(); }).detach();
    } catch (const std::system_error& failure) {
        errno = failure.code().value();
        return Growth::REFUSED;
    }
    ++threads_;
    return Growth::DONE;
}

// ---- Connections
// -----------------------------------------------------------------------------------------------------

void Server::AcceptAll()
{
    for (int i = 0; i < MAX_ACCEPTS_AT_ONCE && !stopping_; ++i) {
        UniqueFd socket(::accept4(listener_.Get(), nullptr, nullptr, SOCK_CLOEXEC));
        if (socket) {
            Accept(std::move(socket));
        } else if (errno == EMFILE || errno == ENFILE) {
            reserve_.Reset();
            TurnAway(UniqueFd(::accept4(listener_.Get(), nullptr, nullptr, SOCK_CLOEXEC)), IPC_BUSY,
                     "out of descriptors");
            reserve_.Reset(::open("/dev/null", O_RDONLY | O_CLOEXEC));
        } else if (errno != EINTR && errno != ECONNABORTED) {
            break;
        }
    }
    epoll_event event{EPOLLIN | EPOLLONESHOT, {.ptr = &listener_}};
    ::epoll_ctl(epoll_.Get(), EPOLL_CTL_MOD, listener_.Get(), &event);
}

void Server::Accept(UniqueFd socket)
{
    PeerCredentials peer;
    if (!ReadPeerCredentials(socket.Get(), peer)) {
        TurnAway(std::move(socket), IPC_REFUSED, "the kernel does not name its peer");
        return;
    }
    if (Counts().connections >= options_.maxConnections) {
        TurnAway(std::move(socket), IPC_BUSY, "too many connections");
        return;
    }
    turningAway_ = false;
    SetSendLimit(socket.Get(), options_.sendLimit);
    SetReceiveLimit(socket.Get(), LINGER_LIMIT);
    ReserveSendBuffer(socket.Get());
    auto connection = std::make_unique<Connection>(std::move(socket), identify_(peer));
    Connection* raw = connection.get();
    {
        const MutexLock lock(mutex_);
        connections_.emplace(raw, std::move(connection));
    }
    epoll_event event{EPOLLIN | EPOLLRDHUP | EPOLLONESHOT, {.ptr = raw}};
    if (::epoll_ctl(epoll_.Get(), EPOLL_CTL_ADD, raw->socket.Get(), &event) != 0) {
        LogError(LABEL, "a client was turned away: %{public}s", std::strerror(errno));
        Drop(*raw);
    }
}

// Closes a socket that is no connection yet, having told its peer why. One log line until a client is accepted again.
void Server::TurnAway(UniqueFd socket, IpcStatus status, const char* why)
{
    if (!socket) {
        return;
    }
    if (!std::exchange(turningAway_, true)) {
        LogError(LABEL, "clients are turned away: %{public}s", why);
    }
    SetSendLimit(socket.Get(), std::chrono::microseconds(1));
    SendReply(Connection(std::move(socket), {}), 0, status, MessageParcel());
}

void Server::Serve(Connection& connection, Buffers& buffers)
{
    {
        const MutexLock handOver(connection.handOver);
    }
    ssize_t size = Receive(connection, buffers, MSG_DONTWAIT);
    while (size >= 0) {
        if (size == 0 && PeerIsGone(connection)) {
            break;
        }
        if (!Answer(connection, static_cast<size_t>(size), buffers)) {
            break;
        }
        buffers.Trim();
        size = Linger(connection, buffers);
    }
    if (size < 0 && errno == EAGAIN) {
        Arm(connection);
    } else {
        Drop(connection);
    }
}

// The size of the datagram that was read, or -1.
ssize_t Server::Receive(const Connection& connection, Buffers& buffers, int flags)
{
    ssize_t size = -1;
    do {
        // MSG_TRUNC: the result is the datagram's own size, recv(2). Without room for control data the kernel closes
        // descriptors that a client sends along.
        size = ::recv(connection.socket.Get(), buffers.datagram.get(), MAX_DATAGRAM_SIZE, MSG_TRUNC | flags);
    } while (size < 0 && errno == EINTR);
    return size;
}

// A client in the middle of its work asks again at once: waiting for it a moment at its own socket saves arming the
// epoll and the wake-up of a second worker. Only while another worker minds the epoll, and only few.
ssize_t Server::Linger(const Connection& connection, Buffers& buffers)
{
    if (stopping_ || waiting_.load() == 0 || lingering_.load() >= MAX_LINGERING) {
        errno = EAGAIN;
        return -1;
    }
    ++lingering_;
    const ssize_t size = Receive(connection, buffers, 0);
    --lingering_;
    return size;
}

bool Server::PeerIsGone(const Connection& connection)
{
    pollfd state{connection.socket.Get(), POLLRDHUP, 0};
    return ::poll(&state, 1, 0) == 1;  // else the client sent an empty datagram
}

// Runs one datagram as a request and replies. False when the connection is of no more use.
bool Server::Answer(Connection& connection, size_t size, Buffers& buffers)
{
    IpcHeader request;
    buffers.data.Clear();
    buffers.reply.Clear();
    const char* fault = DecodeHeader(buffers.datagram.get(), size, request);
    if (fault == nullptr && (request.flags & IPC_FLAG_REPLY) != 0) {
        fault = "a reply";
    }
    if (fault != nullptr) {
        NoteBadDatagram(connection, fault, size);
        return SendReply(connection, request.abilityId, IPC_BAD_DATAGRAM, buffers.reply);
    }
    buffers.data.ParseFrom(buffers.datagram.get() + IPC_HEADER_SIZE, size - IPC_HEADER_SIZE);
    const int32_t status = Dispatch(connection, request, buffers);
    return SendReply(connection, request.abilityId, status, buffers.reply);
}

int32_t Server::Dispatch(const Connection& connection, const IpcHeader& request, Buffers& buffers)
{
    const CallerScope caller(connection.caller);
    try {
        return dispatch_(request, buffers.data, buffers.reply);
    } catch (const std::exception& failure) {
        LogError(LABEL, "request %{public}u of ability %{public}u let an exception out: %{public}s", request.code,
                 request.abilityId, failure.what());
    } catch (...) {
        LogError(LABEL, "request %{public}u of ability %{public}u let an exception out", request.code,
                 request.abilityId);
    }
    return IPC_HANDLER_FAILED;
}

void Server::NoteBadDatagram(Connection& connection, const char* what, size_t size)
{
    if (++connection.badDatagrams <= MAX_BAD_DATAGRAM_LINES) {
        LogError(LABEL, "bad datagram of %{public}lu bytes from process %{public}d: %{public}s%{public}s",
                 uint64_t{size}, connection.caller.pid, what,
                 connection.badDatagrams == MAX_BAD_DATAGRAM_LINES ? "; its further ones are not logged" : "");
    }
}

// False when the connection is of no more use.
bool Server::SendReply(const Connection& connection, uint32_t abilityId, int32_t status, const MessageParcel& reply)
{
    uint8_t header[IPC_HEADER_SIZE];
    EncodeHeader(IpcHeader{IPC_FLAG_REPLY, abilityId, static_cast<uint32_t>(status)}, header);
    iovec parts[2] = {{header, sizeof(header)}, {const_cast<uint8_t*>(reply.GetData()), reply.GetDataSize()}};
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = 2;
    ssize_t sent = -1;
    do {
        sent = ::sendmsg(connection.socket.Get(), &message, MSG_NOSIGNAL);
    } while (sent < 0 && errno == EINTR);
    if (sent < 0 && errno != EPIPE && errno != ECONNRESET) {
        LogError(LABEL, "closing the connection of process %{public}d: %{public}s", connection.caller.pid,
                 errno == EAGAIN ? "it does not read its replies" : std::strerror(errno));
    }
    return sent >= 0;
}

void Server::Arm(Connection& connection)
{
    epoll_event event{EPOLLIN | EPOLLRDHUP | EPOLLONESHOT, {.ptr = &connection}};
    const MutexLock handOver(connection.handOver);
    ::epoll_ctl(epoll_.Get(), EPOLL_CTL_MOD, connection.socket.Get(), &event);
}

void Server::Drop(Connection& connection)
{
    const CallerIdentity caller = connection.caller;
    {
        std::unique_ptr<Connection> owner;
        const MutexLock lock(mutex_);
        const auto found = connections_.find(&connection);
        owner = std::move(found->second);
        connections_.erase(found);
        const bool stays = std::any_of(connections_.begin(), connections_.end(),
                                       [&](const auto& other) { return other.first->caller.pid == caller.pid; });
        if (stays || !options_.processGone) {
            return;
        }
    }
    const CallerScope scope(caller);
    options_.processGone();
}

}  // namespace

Result<std::unique_ptr<IpcServer>> IpcServer::Start(IpcServerOptions options, Identifier identify, Dispatcher dispatch)
{
    auto server = std::make_unique<Server>(std::move(options), std::move(identify), std::move(dispatch));
    Result<void> opened = server->Open();
    if (!opened) {
        return opened.TakeError();
    }
    return std::unique_ptr<IpcServer>(std::move(server));
}

}  // namespace Vexo::Ipc
