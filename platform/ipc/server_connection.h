// ServerConnection: one client connection of the server. The class decides which thread may use the connection. The
// connection is either armed in the server's epoll for one event, or owned by the worker that received an event. While
// a request waits for a later reply (later_reply.h), no worker owns the connection. Only Receive can block. Workers
// call all functions except OnSendTimeout (timer thread). The timer thread also calls Arm, the server's destructor also
// calls Close, and any thread may call SendLater. Stages:
//   READING --request--> RUNNING --answered--> READING
//   RUNNING --the reply comes later--> AWAITING_REPLY --reply--> READING
//   RUNNING, AWAITING_REPLY --the client does not read--> SENDING --the client reads--> READING
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"
#include "platform/base/unique_fd.h"
#include "platform/ipc/ipc_skeleton.h"
#include "platform/ipc/later_reply.h"
#include "platform/tasks/timers.h"

namespace Vexo::Ipc {

// Sends one reply without blocking. Returns 0 or an errno.
int SendReply(int socket, uint32_t abilityId, int32_t status, const MessageParcel& reply);

class ServerConnection : public ReplyTarget, public NoCopyable, public std::enable_shared_from_this<ServerConnection> {
public:
    // What a worker must do with the connection after an event.
    enum class Turn {
        NONE,   // the event is out of date; the worker must not use the connection
        SERVE,  // the worker owns the connection: it runs one request, then calls Arm or drops the connection
        DROP,   // the worker owns the connection and must drop it
    };
    // The result of sending a reply.
    enum class Sent {
        WHOLE,   // sent; the worker still owns the connection
        PARKED,  // not sent yet; the worker no longer owns the connection
        FAILED,  // errno says why; the worker still owns the connection and must drop it
    };

    // epoll: the server's epoll, which must exist until Close.
    ServerConnection(uint64_t id, int epoll, UniqueFd socket, const CallerIdentity& caller,
                     std::chrono::milliseconds sendLimit);

    uint64_t Id() const { return id_; }
    const CallerIdentity& Caller() const { return caller_; }
    // Reads a datagram and stores at most MAX_DATAGRAM_SIZE bytes of it. Returns the size of the whole datagram, which
    // may be larger, or -1 with errno set. Does not block if flags contains MSG_DONTWAIT. Only the worker that owns the
    // connection may call Receive.
    ssize_t Receive(uint8_t* datagram, int flags) const;
    // Call after Receive has returned 0. Returns true if the client has closed the connection, false if the client has
    // sent an empty datagram.
    bool PeerIsGone() const;

    // Adds the connection to the epoll. Returns false, with errno set, if the system refuses.
    bool AddToEpoll() EXCLUDES(mutex_);
    Turn TakeTurn(uint32_t events) EXCLUDES(mutex_);
    Sent Send(uint32_t abilityId, int32_t status, const MessageParcel& reply) EXCLUDES(mutex_);
    // Call AwaitReply instead of Send if the handler has taken over the reply (LaterReply).
    Sent AwaitReply() EXCLUDES(mutex_);
    void Arm() EXCLUDES(mutex_);
    // Closes the socket. SendLater then drops its reply.
    void Close() EXCLUDES(mutex_);
    // Returns true if the client was disconnected because it did not read its replies.
    bool HasSendTimedOut() EXCLUDES(mutex_);

    void SendLater(uint32_t abilityId, int32_t status, const MessageParcel& reply) override EXCLUDES(mutex_);

private:
    enum class Stage { READING, RUNNING, AWAITING_REPLY, SENDING, CLOSED };

    void ArmFor(uint32_t events, Stage stage) REQUIRES(mutex_);
    void KeepUnsent(uint32_t abilityId, int32_t status, const MessageParcel& reply) REQUIRES(mutex_);
    Sent SendUnsent() REQUIRES(mutex_);
    void WaitForRoom() REQUIRES(mutex_);
    void OnSendTimeout(uint64_t wait) EXCLUDES(mutex_);

    const uint64_t id_;
    const int epoll_;
    const CallerIdentity caller_;
    const std::chrono::milliseconds sendLimit_;
    UniqueFd socket_;  // reset by Close, which only the owning worker or the server's destructor calls

    // Guards the members below. This mutex is also locked to arm the connection and in TakeTurn. So the worker that
    // gets the event sees what the previous worker has written. (The C++ memory model does not cover epoll.)
    Mutex mutex_;
    Stage stage_ GUARDED_BY(mutex_) = Stage::RUNNING;
    std::vector<uint8_t> unsent_ GUARDED_BY(mutex_);  // the whole datagram of the reply to send
    Tasks::Timer timer_ GUARDED_BY(mutex_);
    uint64_t waits_ GUARDED_BY(mutex_) = 0;  // number of waits for socket buffer space; timer_ limits only the latest
    bool wasGivenUp_ GUARDED_BY(mutex_) = false;
};

}  // namespace Vexo::Ipc
