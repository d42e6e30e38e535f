// UserShares: limits the number of connections and of running requests of each user. A connection whose request exceeds
// the limit is queued here until another request of the same user ends. Root and the server's own user are not limited,
// and some connections are reserved for them. Any thread. No call blocks.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <unordered_map>

#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"
#include "platform/ipc/server_connection.h"

namespace Vexo::Ipc {

struct ShareLimits {
    size_t connections = 4096;    // of all users together
    size_t reserved = 64;         // connections that only users without a limit can get
    size_t userConnections = 64;  // of each limited user
    size_t userRequests = 32;     // of each limited user, running at the same time
    // Returns true for a user that is limited. If this function is empty, root and the server's own user are not
    // limited, because they can stop the daemon anyway; all other users are limited.
    std::function<bool(uid_t user)> isLimited{};
};

class UserShares : public NoCopyable {
public:
    explicit UserShares(ShareLimits limits);

    // Counts a new connection of the user. Returns null, or the reason why the connection must be refused.
    const char* AddConnection(uid_t user) EXCLUDES(mutex_);
    void RemoveConnection(uid_t user) EXCLUDES(mutex_);

    // Returns true if a request may run on the connection. Call EndRequest after that request. Returns false if the
    // connection was queued. A later EndRequest then returns this connection.
    bool BeginRequest(const std::shared_ptr<ServerConnection>& connection) EXCLUDES(mutex_);
    // Ends a request of the user. Returns the user's connection that has been queued longest, or null. The caller must
    // arm the returned connection.
    std::shared_ptr<ServerConnection> EndRequest(uid_t user) EXCLUDES(mutex_);
    // Returns true if another connection of the user is queued.
    bool HasWaiting(uid_t user) EXCLUDES(mutex_);

private:
    struct Share {
        size_t connections = 0;
        size_t requests = 0;
        std::deque<std::shared_ptr<ServerConnection>> waiting;
    };

    using Shares = std::unordered_map<uid_t, Share>;

    void ForgetUnused(Shares::iterator share) REQUIRES(mutex_);

    const ShareLimits limits_;
    Mutex mutex_;
    size_t connections_ GUARDED_BY(mutex_) = 0;
    Shares shares_ GUARDED_BY(mutex_);  // only limited users that have a connection or a request
};

}  // namespace Vexo::Ipc
