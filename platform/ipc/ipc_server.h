// IpcServer: listens on an AF_UNIX SOCK_SEQPACKET socket and runs requests.
// - Workers share one epoll. One worker thread reads, runs and answers a request. A worker is added when all workers
// are busy, and ends when it was idle for threadIdleLimit.
// - Requests of one connection run in order, requests of different connections at the same time.
// - A client occupies no worker while it is idle, does not read its replies or waits for a later reply (later_reply.h).
// - A bad datagram gets an error reply. The connection stays usable.
// Start, StopAccepting, AwaitWorkers and the destructor are called on one thread. The dispatcher is called on workers.
// Limits for each user: platform/ipc/user_shares.h. Wire format: platform/ipc/wire.h.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "platform/base/clock.h"
#include "platform/base/nocopyable.h"
#include "platform/base/result.h"
#include "platform/ipc/ipc_skeleton.h"
#include "platform/ipc/parcel.h"
#include "platform/ipc/user_shares.h"
#include "platform/ipc/wire.h"

namespace Vexo::Ipc {

// Runs one request on a thread on which the caller's identity is set (IPCSkeleton). Returns the status of the reply.
// The reply parcel is always sent, unless the request's handler took over the reply with LaterReply::Take
// (platform/ipc/later_reply.h). May block for minutes.
using Dispatcher = std::function<int32_t(const IpcHeader& request, MessageParcel& data, MessageParcel& reply)>;

// Converts the kernel's credentials of a client into an identity. Called once for each connection.
using Identifier = std::function<CallerIdentity(const PeerCredentials& peer)>;

// Called on a worker when the last connection of a process has closed and no handler of its requests runs any more. The
// identity of that process is set on the thread (IPCSkeleton). May block as long as a request may. Must not throw.
using ProcessGone = std::function<void()>;

struct IpcServerOptions {
    std::string socketPath;
    mode_t socketMode = 0666;  // who may connect; the access policy decides what a client may do
    ShareLimits shares{};
    size_t maxThreads = 256;
    std::chrono::milliseconds threadIdleLimit{10'000};
    std::chrono::milliseconds sendLimit{2'000};  // a client that has not read a reply within this time is disconnected
    ProcessGone processGone{};                   // may be empty
};

struct IpcServerCounts {
    size_t connections = 0;
    size_t threads = 0;
};

class IpcServer : public NoCopyable {
public:
    // Creates the socket and starts serving. Replaces a socket file on which no process listens. Fails if a process
    // listens on the file. The error names the path and the cause.
    [[nodiscard]] static Result<std::unique_ptr<IpcServer>> Start(IpcServerOptions options, Identifier identify,
                                                                  Dispatcher dispatch);

    // Stops accepting, blocks until the running requests have ended, and closes every connection.
    virtual ~IpcServer() = default;
    // Accepts no more connections, reads no more requests and unlinks the socket. Running requests are still answered,
    // but this function does not wait for them.
    virtual void StopAccepting() = 0;
    // Call after StopAccepting. Blocks until enough workers have ended, or until the deadline has passed. A worker ends
    // when it has sent its reply. allowed: returns how many workers may remain.
    virtual void AwaitWorkers(SteadyTime deadline, const std::function<size_t()>& allowed) = 0;
    // May be called on any thread.
    virtual IpcServerCounts Counts() const = 0;

protected:
    IpcServer() = default;
};

}  // namespace Vexo::Ipc
