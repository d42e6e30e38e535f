// UserShares: limits the number of connections and of running requests of each user. A connection whose request exceeds
// a limit is queued here until the limits allow the request to begin. Requests that have just begun have a limit of
// their own, so that one user's many short requests leave processors to other users. Root and the server's own user are
// not limited, and some connections are reserved for them. Thread-safe. No call blocks.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

#include "platform/base/clock.h"
#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"
#include "platform/ipc/server_connection.h"
#include "platform/tasks/timers.h"

namespace Vexo::Ipc {

// A request is new while it has run for less than this time. Older requests mostly wait, and use no processor.
inline constexpr std::chrono::milliseconds NEW_REQUEST_TIME{10};

struct ShareLimits {
    size_t connections = 4096;    // of all users together
    size_t reserved = 64;         // connections that only users without a limit can get
    size_t userConnections = 64;  // of each limited user
    size_t userRequests = 32;     // of each limited user, running at the same time
    size_t userNewRequests = 0;   // how many of these may be new; 0: half the number of processors, but at least 1
    // Returns true for a user that is limited. If this function is empty, every user is limited except root and the
    // server's own user.
    std::function<bool(uid_t user)> isLimited{};
};

// Create a UserShares with std::make_shared, because the timers hold weak pointers to this object.
class UserShares : public NoCopyable, public std::enable_shared_from_this<UserShares> {
public:
    explicit UserShares(ShareLimits limits);

    bool IsLimited(uid_t user) const { return limits_.isLimited(user); }
    // Counts a new connection of the user. Returns null, or the reason why the connection must be refused.
    const char* AddConnection(uid_t user) EXCLUDES(mutex_);
    void RemoveConnection(uid_t user) EXCLUDES(mutex_);

    // Returns the time at which a request begins to run on the connection. Call EndRequest with this time after that
    // request. Returns nullopt if the connection was queued. A later EndRequest then returns this connection, or a
    // timer arms it.
    std::optional<SteadyTime> BeginRequest(const std::shared_ptr<ServerConnection>& connection) EXCLUDES(mutex_);
    // Ends a request of the user. Returns the user's connection that has been queued longest, or null. The caller must
    // serve or arm the returned connection.
    std::shared_ptr<ServerConnection> EndRequest(uid_t user, SteadyTime began) EXCLUDES(mutex_);
    // Drops all queued connections. Call before the connections are closed.
    void Stop() EXCLUDES(mutex_);

private:
    struct Share {
        size_t connections = 0;
        std::vector<SteadyTime> running;  // when each running request began
        std::deque<std::shared_ptr<ServerConnection>> waiting;
        Tasks::Timer timer;  // set while connections wait because too many requests are new
    };

    using Shares = std::unordered_map<uid_t, Share>;

    size_t FreeSlots(const Share& share) const REQUIRES(mutex_);
    void StartArmTimer(uid_t user, Share& share) REQUIRES(mutex_);
    void ArmWaiting(uid_t user) EXCLUDES(mutex_);
    void EraseIfUnused(Shares::iterator share) REQUIRES(mutex_);

    const ShareLimits limits_;
    Mutex mutex_;
    size_t connections_ GUARDED_BY(mutex_) = 0;
    Shares shares_ GUARDED_BY(mutex_);  // only limited users that have a connection or a request
};

}  // namespace Vexo::Ipc
