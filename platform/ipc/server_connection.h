// ServerConnection: one client as the server keeps it, and who may touch it. A connection is armed in the server's
// epoll, for one event, or it is somebody's: the worker's that took the event, or nobody's while its request waits for
// a later reply. Nothing here blocks. Workers call it; SendLater comes from any thread, GiveUp from the timers'.
//   READING --request--> RUNNING --answered--> READING
//   RUNNING --its reply comes later--> AWAITING_REPLY --reply--> READING
//   RUNNING, AWAITING_REPLY --the client does not read--> SENDING --it reads--> READING
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

// Sends one reply without blocking: 0, or the errno of the call.
int SendReply(int socket, uint32_t abilityId, int32_t status, const MessageParcel& reply);

class ServerConnection : public ReplyTarget, public NoCopyable, public std::enable_shared_from_this<ServerConnection> {
public:
    // What a worker does with the event that it got.
    enum class Turn {
        NONE,   // the event was an old one: leave the connection alone
        SERVE,  // the worker has it now: read, run, answer, then Arm or drop it
        DROP,   // it is of no more use
    };
    // What became of a reply.
    enum class Sent {
        WHOLE,   // the worker keeps the connection
        PARKED,  // the rest happens without this worker, which no longer has the connection
        FAILED,  // the worker keeps the connection, which is of no more use
    };

    // epoll: the server's; used until Close.
    ServerConnection(uint64_t id, int epoll, UniqueFd socket, const CallerIdentity& caller,
                     std::chrono::milliseconds sendLimit);

    uint64_t Id() const { return id_; }
    const CallerIdentity& Caller() const { return caller_; }
    // For the worker that has the connection: reads a datagram of at most MAX_DATAGRAM_SIZE bytes. Its own size, which
    // may be larger, or -1 and errno.
    ssize_t Receive(uint8_t* datagram, int flags) const;
    // Whether an empty datagram was the end of the connection.
    bool PeerIsGone() const;

    // Adds it to the epoll; false when the system refuses.
    bool Enter() EXCLUDES(mutex_);
    Turn TakeTurn(uint32_t events) EXCLUDES(mutex_);
    Sent Send(uint32_t abilityId, int32_t status, const MessageParcel& reply) EXCLUDES(mutex_);
    // Of a request whose handler took the reply.
    Sent AwaitReply() EXCLUDES(mutex_);
    void Arm() EXCLUDES(mutex_);
    // Closes the socket; a reply that comes now goes nowhere.
    void Close() EXCLUDES(mutex_);
    // Whether it was given up because its client left its replies unread.
    bool WasGivenUp() EXCLUDES(mutex_);

    void SendLater(uint32_t abilityId, int32_t status, const MessageParcel& reply) override EXCLUDES(mutex_);

private:
    enum class Stage { READING, RUNNING, AWAITING_REPLY, SENDING, CLOSED };

    void ArmFor(uint32_t events, Stage stage) REQUIRES(mutex_);
    void KeepUnsent(uint32_t abilityId, int32_t status, const MessageParcel& reply) REQUIRES(mutex_);
    Sent SendUnsent() REQUIRES(mutex_);
    void WaitForRoom() REQUIRES(mutex_);
    void GiveUp(uint64_t wait) EXCLUDES(mutex_);

    const uint64_t id_;
    const int epoll_;
    const CallerIdentity caller_;
    const std::chrono::milliseconds sendLimit_;
    UniqueFd socket_;  // reset by Close, when no worker has the connection

    // Also held while it is armed. The next worker gets the connection from the kernel, whose ordering the language
    // does not know: TakeTurn, which takes this lock, makes the hand-over visible.
    Mutex mutex_;
    Stage stage_ GUARDED_BY(mutex_) = Stage::RUNNING;
    std::vector<uint8_t> unsent_ GUARDED_BY(mutex_);  // a whole datagram
    Tasks::Timer timer_ GUARDED_BY(mutex_);
    uint64_t waits_ GUARDED_BY(mutex_) = 0;  // for room; a timer names the one that it limits
    bool wasGivenUp_ GUARDED_BY(mutex_) = false;
};

}  // namespace Vexo::Ipc
