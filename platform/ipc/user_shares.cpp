#include "platform/ipc/user_shares.h"

#include <unistd.h>

#include <algorithm>
#include <utility>

#include "platform/base/check.h"

namespace Vexo::Ipc {

namespace {

ShareLimits Complete(ShareLimits limits)
{
    if (!limits.isLimited) {
        limits.isLimited = [own = ::geteuid()](uid_t user) { return user != 0 && user != own; };
    }
    return limits;
}

}  // namespace

UserShares::UserShares(ShareLimits limits) : limits_(Complete(std::move(limits))) {}

const char* UserShares::AddConnection(uid_t user)
{
    const bool isLimited = limits_.isLimited(user);
    const size_t most = limits_.connections - (isLimited ? std::min(limits_.reserved, limits_.connections) : 0);
    const MutexLock lock(mutex_);
    if (connections_ >= most) {
        return "too many connections";
    }
    if (isLimited) {
        const auto share = shares_.try_emplace(user).first;
        if (share->second.connections >= limits_.userConnections) {
            return "too many connections of one user";
        }
        ++share->second.connections;
    }
    ++connections_;
    return nullptr;
}

void UserShares::RemoveConnection(uid_t user)
{
    const MutexLock lock(mutex_);
    DISTNET_CHECK(connections_ > 0, "a connection is removed once");
    --connections_;
    if (const auto share = shares_.find(user); share != shares_.end()) {
        --share->second.connections;
        ForgetUnused(share);
    }
}

// Removes the entry of a user that has neither connections nor requests. A request may end after its connection, if the
// client has disconnected.
void UserShares::ForgetUnused(Shares::iterator share)
{
    if (share->second.connections == 0 && share->second.requests == 0) {
        shares_.erase(share);
    }
}

bool UserShares::BeginRequest(const std::shared_ptr<ServerConnection>& connection)
{
    const uid_t user = connection->Caller().uid;
    if (!limits_.isLimited(user)) {
        return true;
    }
    const MutexLock lock(mutex_);
    Share& share = shares_.at(user);
    if (share.requests >= limits_.userRequests) {
        share.waiting.push_back(connection);
        return false;
    }
    ++share.requests;
    return true;
}

std::shared_ptr<ServerConnection> UserShares::EndRequest(uid_t user)
{
    if (!limits_.isLimited(user)) {
        return nullptr;
    }
    const MutexLock lock(mutex_);
    const auto share = shares_.find(user);
    DISTNET_CHECK(share != shares_.end() && share->second.requests > 0, "a request that began ends once");
    --share->second.requests;
    std::shared_ptr<ServerConnection> next;
    if (auto& waiting = share->second.waiting; !waiting.empty()) {
        next = std::move(waiting.front());
        waiting.pop_front();
    }
    ForgetUnused(share);
    return next;
}

bool UserShares::HasWaiting(uid_t user)
{
    if (!limits_.isLimited(user)) {
        return false;
    }
    const MutexLock lock(mutex_);
    return !shares_.at(user).waiting.empty();
}

}  // namespace Vexo::Ipc
