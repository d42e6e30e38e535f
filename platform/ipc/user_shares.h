// UserShares: limits how many connections to a server, and how many running requests, the programs of one user may
// have. A connection whose request is beyond the limit is kept here until another request of that user ends. Root and
// the server's own user are not limited, and some connections are reserved for them. Any thread. No call blocks.
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
    size_t connections = 4096;    // of everybody
    size_t reserved = 64;         // of these, for users who are not limited
    size_t userConnections = 64;  // of one limited user
    size_t userRequests = 32;     // of one limited user, at once
    // Root and the server's own user, who can end the daemon anyway, are not.
    std::function<bool(uid_t user)> isLimited{};
};

class UserShares : public NoCopyable {
public:
    explicit UserShares(ShareLimits limits);

    // Null when the user has a connection more now, else why it has not.
    const char* AddConnection(uid_t user) EXCLUDES(mutex_);
    void RemoveConnection(uid_t user) EXCLUDES(mutex_);

    // True when a request may run on the connection: EndRequest then follows. Else the connection is kept, and an
    // EndRequest returns it.
    bool BeginRequest(const std::shared_ptr<ServerConnection>& connection) EXCLUDES(mutex_);
    // The connection that has waited longest for its turn, to be armed; null when none waits.
    std::shared_ptr<ServerConnection> EndRequest(uid_t user) EXCLUDES(mutex_);
    // Whether another connection of the user waits for its turn.
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
    Shares shares_ GUARDED_BY(mutex_);  // of limited users that have a connection or a request
};

}  // namespace Vexo::Ipc
