#include "platform/ipc/ipc_server.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <unordered_map>
#include <utility>

#include "platform/base/mutex.h"
#include "platform/base/unique_fd.h"
#include "platform/dfx/guard.h"
#include "platform/dfx/log.h"
#include "platform/ipc/caller_faults.h"
#include "platform/ipc/ipc_types.h"
#include "platform/ipc/later_reply.h"
#include "platform/ipc/server_connection.h"
#include "platform/ipc/unix_socket.h"
#include "platform/ipc/worker_buffers.h"

namespace Vexo::Ipc {
namespace {

using QuviewDFX::LogError;
using QuviewDFX::LogWarn;

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "Ipc"};

// The epoll's user data of the listener and of the stop event. For a connection, the user data is its id, which is
// larger than these two.
constexpr uint64_t LISTENER = 0;
constexpr uint64_t STOP_EVENT = 1;
constexpr int MAX_ACCEPTS_AT_ONCE = 64;
constexpr std::chrono::milliseconds LINGER_LIMIT{2};
constexpr size_t MAX_LINGERING = 8;

class Server : public IpcServer {
public:
    Server(IpcServerOptions options, Identifier identify, Dispatcher dispatch)
        : options_(std::move(options)),
          identify_(std::move(identify)),
          dispatch_(std::move(dispatch)),
          shares_(std::make_shared<UserShares>(options_.shares))
    {
    }
    ~Server() override;

    Result<void> Open();
    void StopAccepting() override;
    void AwaitWorkers(SteadyTime deadline, const std::function<size_t()>& allowed) override;
    IpcServerCounts Counts() const override;

private:
    enum class Growth { DONE, AT_LIMIT, REFUSED };
    // What a worker must do with a connection that it has served. PARKED: nothing, the worker no longer owns it.
    enum class AfterServing { ARM, DROP, PARKED };

    void Work();
    bool AwaitEvent(epoll_event& event);
    bool EndsAfterIdling();
    void AddWorkerIfNoneWaits();
    Growth StartWorker();

    void AcceptAll();
    bool RefuseForDescriptors();
    void Accept(UniqueFd socket);
    static void RefuseClient(UniqueFd socket, IpcStatus status);
    std::shared_ptr<ServerConnection> Find(uint64_t id);
    void OnEvent(const epoll_event& event, Buffers& buffers);
    void ServeInTurn(std::shared_ptr<ServerConnection> connection, Buffers& buffers);
    AfterServing Serve(const std::shared_ptr<ServerConnection>& connection, Buffers& buffers);
    ssize_t Linger(const ServerConnection& connection, Buffers& buffers);
    ServerConnection::Sent RunRequest(const std::shared_ptr<ServerConnection>& connection, size_t size,
                                      Buffers& buffers);
    int32_t Dispatch(const IpcHeader& request, Buffers& buffers);
    void Drop(ServerConnection& connection);

    const IpcServerOptions options_;
    const Identifier identify_;
    const Dispatcher dispatch_;
    UniqueFd epoll_;
    UniqueFd stopEvent_;
    UniqueFd listener_;
    dev_t socketDevice_ = 0;
    ino_t socketInode_ = 0;

    const std::shared_ptr<UserShares> shares_;
    CallerFaults faults_;

    // reserve_ and lastId_ are used only by the worker that accepts connections.
    UniqueFd reserve_;  // if no descriptor is left, this one is closed, so that a client can be accepted and refused
    uint64_t lastId_ = STOP_EVENT;

    std::atomic<size_t> waiting_{0};    // number of workers in epoll_wait
    std::atomic<size_t> lingering_{0};  // number of workers that wait on one connection's socket (Linger)
    std::atomic<bool> stopping_{false};
    std::atomic<bool> saturationLogged_{false};

    mutable Mutex mutex_;
    CondVar workerGone_;
    size_t threads_ GUARDED_BY(mutex_) = 0;
    std::unordered_map<uint64_t, std::shared_ptr<ServerConnection>> connections_ GUARDED_BY(mutex_);
};

Server::~Server()
{
    StopAccepting();
    const MutexLock lock(mutex_);
    while (threads_ != 0) {
        workerGone_.Wait(mutex_);
    }
    shares_->Stop();
    // A handler may still complete a later reply (later_reply.h). That reply is then dropped, because its connection is
    // closed.
    for (const auto& [id, connection] : connections_) {
        connection->Close();
    }
}

Result<void> Server::Open()
{
    Result<UniqueFd> listener = ListenOn(options_.socketPath, options_.socketMode);
    if (!listener) {
        return Failure(std::move(listener).error());
    }
    listener_ = std::move(listener.value());
    struct stat status {};
    if (::stat(options_.socketPath.c_str(), &status) == 0) {
        socketDevice_ = status.st_dev;
        socketInode_ = status.st_ino;
    }
    epoll_ = UniqueFd(::epoll_create1(EPOLL_CLOEXEC));
    stopEvent_ = UniqueFd(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    reserve_ = UniqueFd(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    epoll_event stop{EPOLLIN, {.u64 = STOP_EVENT}};
    epoll_event accept{EPOLLIN | EPOLLONESHOT, {.u64 = LISTENER}};
    if (!epoll_ || !stopEvent_ || ::epoll_ctl(epoll_.Get(), EPOLL_CTL_ADD, stopEvent_.Get(), &stop) != 0 ||
        ::epoll_ctl(epoll_.Get(), EPOLL_CTL_ADD, listener_.Get(), &accept) != 0 || StartWorker() != Growth::DONE) {
        return Fail(ErrorCodeOf(errno),
                    options_.socketPath + ": cannot serve it (" + std::generic_category().message(errno) + ")");
    }
    return {};
}

void Server::StopAccepting()
{
    if (stopping_.exchange(true)) {
        return;
    }
    struct stat status {};
    // Another server may have replaced the socket file in the meantime. Unlink the file only if it is this server's
    // file.
    if (listener_ && ::stat(options_.socketPath.c_str(), &status) == 0 && status.st_dev == socketDevice_ &&
        status.st_ino == socketInode_) {
        ::unlink(options_.socketPath.c_str());
    }
    if (listener_) {
        ::shutdown(listener_.Get(), SHUT_RDWR);
    }
    if (stopEvent_) {
        ::eventfd_write(stopEvent_.Get(), 1);  // no worker reads the event, so epoll reports it to every worker
    }
}

void Server::AwaitWorkers(SteadyTime deadline, const std::function<size_t()>& allowed)
{
    const MutexLock lock(mutex_);
    while (threads_ > allowed() && workerGone_.WaitUntil(mutex_, deadline)) {
    }
}

IpcServerCounts Server::Counts() const
{
    const MutexLock lock(mutex_);
    return IpcServerCounts{connections_.size(), threads_};
}

// ---- Workers: all workers wait on the same epoll, and each worker handles the events that it gets

void Server::Work()
{
    ::pthread_setname_np(::pthread_self(), "ipc");
    Buffers buffers;
    epoll_event event{};
    while (AwaitEvent(event)) {
        AddWorkerIfNoneWaits();
        if (event.data.u64 == LISTENER) {
            AcceptAll();
        } else {
            OnEvent(event, buffers);
        }
    }
    const MutexLock lock(mutex_);
    --threads_;
    workerGone_.NotifyAll();
}

// Waits for the next event. Returns false if this worker must end. The worker is counted in waiting_ until it has an
// event.
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
            if (EndsAfterIdling()) {
                return false;
            }
            limit = -1;
        }
    }
    --waiting_;
    return !stopping_;
}

// Returns true if this worker, which was idle for too long, must end. The last waiting worker does not end. That worker
// waits without a time-out, so that an idle server never wakes up.
bool Server::EndsAfterIdling()
{
    size_t waiting = waiting_;
    while (waiting > 1) {
        if (waiting_.compare_exchange_weak(waiting, waiting - 1)) {
            saturationLogged_ = false;
            return true;
        }
    }
    return false;
}

void Server::AddWorkerIfNoneWaits()
{
    if (waiting_.load() != 0 || stopping_) {
        return;
    }
    const Growth growth = StartWorker();
    if (growth != Growth::DONE && !saturationLogged_.exchange(true)) {
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

void Server::AcceptAll()
{
    for (int i = 0; i < MAX_ACCEPTS_AT_ONCE && !stopping_; ++i) {
        UniqueFd socket(::accept4(listener_.Get(), nullptr, nullptr, SOCK_CLOEXEC));
        if (socket) {
            Accept(std::move(socket));
        } else if (errno == EMFILE || errno == ENFILE) {
            if (!RefuseForDescriptors()) {
                break;
            }
        } else if (errno != EINTR && errno != ECONNABORTED) {
            break;
        }
    }
    epoll_event event{EPOLLIN | EPOLLONESHOT, {.u64 = LISTENER}};
    ::epoll_ctl(epoll_.Get(), EPOLL_CTL_MOD, listener_.Get(), &event);
}

// Closes reserve_ for a moment to accept the next client and refuse it. Returns false if no client waits. The caller
// cannot know that: without a free descriptor, accept4(2) fails with EMFILE whether a client waits or not.
bool Server::RefuseForDescriptors()
{
    reserve_.Reset();
    UniqueFd socket(::accept4(listener_.Get(), nullptr, nullptr, SOCK_CLOEXEC));
    const bool isClient = static_cast<bool>(socket);
    if (isClient) {
        faults_.OutOfDescriptors();
        RefuseClient(std::move(socket), IPC_BUSY);
    }
    reserve_.Reset(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    return isClient;
}

void Server::Accept(UniqueFd socket)
{
    PeerCredentials peer;
    if (!ReadPeerCredentials(socket.Get(), peer)) {
        RefuseClient(std::move(socket), IPC_REFUSED);
        return;
    }
    if (const char* why = shares_->AddConnection(peer.uid)) {
        faults_.TurnedAway(peer.uid, why);
        RefuseClient(std::move(socket), IPC_BUSY);
        return;
    }
    SetReceiveLimit(socket.Get(), LINGER_LIMIT);
    ReserveSendBuffer(socket.Get());
    const auto connection = std::make_shared<ServerConnection>(++lastId_, epoll_.Get(), std::move(socket),
                                                               identify_(peer), options_.sendLimit);
    {
        const MutexLock lock(mutex_);
        connections_.emplace(connection->Id(), connection);
    }
    if (!connection->AddToEpoll()) {
        LogError(LABEL, "a client was turned away: %{public}s", std::strerror(errno));
        Drop(*connection);
    }
}

// Sends the status to a client whose connection is refused, and closes the socket.
void Server::RefuseClient(UniqueFd socket, IpcStatus status)
{
    if (socket) {
        (void)SendReply(socket.Get(), 0, status, MessageParcel());
    }
}

std::shared_ptr<ServerConnection> Server::Find(uint64_t id)
{
    const MutexLock lock(mutex_);
    const auto found = connections_.find(id);
    return found == connections_.end() ? nullptr : found->second;
}

void Server::OnEvent(const epoll_event& event, Buffers& buffers)
{
    const std::shared_ptr<ServerConnection> connection = Find(event.data.u64);
    if (!connection) {
        return;  // the connection was dropped after epoll_wait returned the event
    }
    switch (connection->TakeTurn(event.events)) {
        case ServerConnection::Turn::NONE:
            break;
        case ServerConnection::Turn::DROP:
            Drop(*connection);
            break;
        case ServerConnection::Turn::SERVE:
            ServeInTurn(connection, buffers);
            break;
    }
}

// Serves the connection. Then serves the same user's queued connections (user_shares.h), one after the end of each
// request. One worker serves all these connections, because waking another worker often costs more than a request.
void Server::ServeInTurn(std::shared_ptr<ServerConnection> connection, Buffers& buffers)
{
    while (connection) {
        const std::optional<SteadyTime> began = shares_->BeginRequest(connection);
        if (!began) {
            return;
        }
        const AfterServing next = Serve(connection, buffers);
        std::shared_ptr<ServerConnection> waiting = shares_->EndRequest(connection->Caller().uid, *began);
        if (next == AfterServing::ARM) {
            connection->Arm();
        } else if (next == AfterServing::DROP) {
            Drop(*connection);
        }
        if (waiting && stopping_) {
            waiting->Arm();
            return;
        }
        connection = std::move(waiting);
    }
}

Server::AfterServing Server::Serve(const std::shared_ptr<ServerConnection>& connection, Buffers& buffers)
{
    ssize_t size = connection->Receive(buffers.datagram.get(), MSG_DONTWAIT);
    while (size >= 0) {
        if (size == 0 && connection->PeerIsGone()) {
            return AfterServing::DROP;
        }
        switch (RunRequest(connection, static_cast<size_t>(size), buffers)) {
            case ServerConnection::Sent::WHOLE:
                break;
            case ServerConnection::Sent::PARKED:
                return AfterServing::PARKED;
            case ServerConnection::Sent::FAILED:
                if (errno != EPIPE && errno != ECONNRESET) {
                    faults_.FailedReply(connection->Caller(), std::strerror(errno));
                }
                return AfterServing::DROP;
        }
        buffers.Trim();
        if (shares_->IsLimited(connection->Caller().uid)) {
            return AfterServing::ARM;  // while the worker lingered, other connections of the user would have to wait
        }
        size = Linger(*connection, buffers);
    }
    return errno == EAGAIN ? AfterServing::ARM : AfterServing::DROP;
}

// Waits for a moment on the connection's own socket for the next request, because a busy client sends its next request
// at once. This saves re-arming the epoll and waking a second worker. At most MAX_LINGERING workers wait like this, and
// only while another worker waits on the epoll. Returns the result of Receive, or -1 with errno EAGAIN if no request
// arrived.
ssize_t Server::Linger(const ServerConnection& connection, Buffers& buffers)
{
    if (stopping_ || waiting_.load() == 0 || lingering_.load() >= MAX_LINGERING) {
        errno = EAGAIN;
        return -1;
    }
    ++lingering_;
    const ssize_t size = connection.Receive(buffers.datagram.get(), 0);
    --lingering_;
    return size;
}

// Runs the request in the datagram and sends the reply.
ServerConnection::Sent Server::RunRequest(const std::shared_ptr<ServerConnection>& connection, size_t size,
                                          Buffers& buffers)
{
    IpcHeader request;
    buffers.data.Clear();
    buffers.reply.Clear();
    const char* fault = DecodeHeader(buffers.datagram.get(), size, request);
    if (fault == nullptr && (request.flags & IPC_FLAG_REPLY) != 0) {
        fault = "a reply";
    }
    if (fault != nullptr) {
        faults_.BadDatagram(connection->Caller(), fault, size);
        return connection->Send(request.abilityId, IPC_BAD_DATAGRAM, buffers.reply);
    }
    buffers.data.ParseFrom(buffers.datagram.get() + IPC_HEADER_SIZE, size - IPC_HEADER_SIZE);
    int32_t status = IPC_OK;
    {
        const CallerScope caller(connection->Caller());
        const std::shared_ptr<ReplyTarget> target = connection;
        const RequestScope scope(target, request.abilityId);
        status = Dispatch(request, buffers);
        if (scope.IsTaken()) {
            return connection->AwaitReply();
        }
    }
    return connection->Send(request.abilityId, status, buffers.reply);
}

int32_t Server::Dispatch(const IpcHeader& request, Buffers& buffers)
{
    int32_t status = IPC_HANDLER_FAILED;
    RunGuarded(
        LABEL,
        [&request] {
            return "request " + std::to_string(request.code) + " of ability " + std::to_string(request.abilityId);
        },
        [&] { status = dispatch_(request, buffers.data, buffers.reply); });
    return status;
}

void Server::Drop(ServerConnection& connection)
{
    const CallerIdentity caller = connection.Caller();
    if (connection.HasSendTimedOut()) {
        faults_.FailedReply(caller, "it does not read its replies");
    }
    connection.Close();
    shares_->RemoveConnection(caller.uid);
    {
        const MutexLock lock(mutex_);
        connections_.erase(connection.Id());
        const bool stays = std::any_of(connections_.begin(), connections_.end(),
                                       [&](const auto& other) { return other.second->Caller().pid == caller.pid; });
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
        return Failure(std::move(opened).error());
    }
    return std::unique_ptr<IpcServer>(std::move(server));
}

}  // namespace Vexo::Ipc
