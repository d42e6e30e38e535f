// IpcServer: listens on an AF_UNIX SOCK_SEQPACKET socket and runs requests. Elastic workers share one epoll, so a
// request is read, run and answered on one thread; requests of one connection run in order, of different connections at
// once; an idle client costs nothing, and a client that does not read or waits for a later reply costs no worker. Bad
// datagrams get an error reply, and the connection stays usable. What a user may take: platform/ipc/user_shares.h. Wire
// format: platform/ipc/wire.h. Start and Stop from one thread; the dispatcher is called on workers.
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

// Runs one request, with the caller's identity set on the thread. Returns the status of the reply; the reply parcel
// goes back in every case, unless the reply was taken to be given later (platform/ipc/later_reply.h). May block for
// minutes.
using Dispatcher = std::function<int32_t(const IpcHeader& request, MessageParcel& data, MessageParcel& reply)>;

// Turns kernel credentials into an identity, once per connection.
using Identifier = std::function<CallerIdentity(const PeerCredentials& peer)>;

// Told on a worker when the last connection of a process has closed and its last request has ended, with that process's
// identity set on the thread, as in a request. May block as a request may; must not throw.
using ProcessGone = std::function<void()>;

struct IpcServerOptions {
    std::string socketPath;
    mode_t socketMode = 0666;  // who may connect; what they may do is the access policy's
    ShareLimits shares{};
    size_t maxThreads = 256;
    std::chrono::milliseconds threadIdleLimit{10'000};
    std::chrono::milliseconds sendLimit{2'000};  // a client that leaves its replies unread for so long is closed
    ProcessGone processGone{};                   // may be empty
};

struct IpcServerCounts {
    size_t connections = 0;
    size_t threads = 0;
};

class IpcServer : public NoCopyable {
public:
    // Binds and starts serving. Replaces a socket file that nobody listens on; refuses one that is in use. The error
    // says which path and why.
    [[nodiscard]] static Result<std::unique_ptr<IpcServer>> Start(IpcServerOptions options, Identifier identify,
                                                                  Dispatcher dispatch);

    // Stops accepting, blocks until the requests that run have ended, and closes every connection.
    virtual ~IpcServer() = default;
    // Accepts and reads nothing more and unlinks the socket; requests that run are answered. Does not wait for them.
    virtual void StopAccepting() = 0;
    // After StopAccepting: blocks until no more than allowed() workers are left, or the deadline has passed. A worker
    // leaves once its reply is sent.
    virtual void AwaitWorkers(SteadyTime deadline, const std::function<size_t()>& allowed) = 0;
    // Any thread.
    virtual IpcServerCounts Counts() const = 0;

protected:
    IpcServer() = default;
};

}  // namespace Vexo::Ipc
