#include "platform/ipc/user_shares.h"

#include <unistd.h>

#include <algorithm>
#include <thread>
#include <utility>

#include "platform/base/check.h"

namespace Vexo::Ipc {

namespace {

ShareLimits Complete(ShareLimits limits)
{
    if (!limits.isLimited) {
        limits.isLimited = [own = ::geteuid()](uid_t user) { return user != 0 && user != own; };
    }
    if (limits.userNewRequests == 0) {
        limits.userNewRequests = std::max<size_t>(std::thread::hardware_concurrency() / 2, 1);
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
        EraseIfUnused(share);
    }
}

// Removes the entry of a user that has neither connections nor requests. A request may end after its connection, if the
// client has disconnected.
void UserShares::EraseIfUnused(Shares::iterator share)
{
    if (share->second.connections == 0 && share->second.running.empty()) {
        shares_.erase(share);
    }
}

std::optional<SteadyTime> UserShares::BeginRequest(const std::shared_ptr<ServerConnection>& connection)
{
    const uid_t user = connection->Caller().uid;
    const SteadyTime now = Tasks::Timers::System().Now();
    if (!limits_.isLimited(user)) {
        return now;
    }
    const MutexLock lock(mutex_);
    Share& share = shares_.at(user);
    if (FreeSlots(share) == 0) {
        share.waiting.push_back(connection);
        StartArmTimer(user, share);
        return std::nullopt;
    }
    share.running.push_back(now);
    return now;
}

// Returns how many more requests of the user may begin now.
size_t UserShares::FreeSlots(const Share& share) const
{
    const SteadyTime now = Tasks::Timers::System().Now();
    const auto newOnes =
        static_cast<size_t>(std::count_if(share.running.begin(), share.running.end(),
                                          [now](SteadyTime began) { return now - began < NEW_REQUEST_TIME; }));
    return std::min(limits_.userRequests - std::min(limits_.userRequests, share.running.size()),
                    limits_.userNewRequests - std::min(limits_.userNewRequests, newOnes));
}

// Starts the timer that arms the user's queued connections when the running requests are no longer new
// (NEW_REQUEST_TIME). If the user has reached the limit of running requests (userRequests), no timer is needed, because
// the next request can begin only when a running request ends.
void UserShares::StartArmTimer(uid_t user, Share& share)
{
    if (!share.timer.IsArmed() && share.running.size() < limits_.userRequests) {
        share.timer = Tasks::Timers::System().CallAfter(NEW_REQUEST_TIME, [weak = weak_from_this(), user] {
            if (const auto self = weak.lock()) {
                self->ArmWaiting(user);
            }
        });
    }
}

void UserShares::ArmWaiting(uid_t user)
{
    const MutexLock lock(mutex_);
    const auto found = shares_.find(user);
    if (found == shares_.end()) {
        return;
    }
    Share& share = found->second;
    share.timer.Cancel();
    for (size_t free = FreeSlots(share); free > 0 && !share.waiting.empty(); --free) {
        share.waiting.front()->Arm();
        share.waiting.pop_front();
    }
    if (!share.waiting.empty()) {
        StartArmTimer(user, share);
    }
}

std::shared_ptr<ServerConnection> UserShares::EndRequest(uid_t user, SteadyTime began)
{
    if (!limits_.isLimited(user)) {
        return nullptr;
    }
    const MutexLock lock(mutex_);
    const auto share = shares_.find(user);
    DISTNET_CHECK(share != shares_.end(), "a request that began ends once");
    std::vector<SteadyTime>& running = share->second.running;
    const auto ended = std::find(running.begin(), running.end(), began);
    DISTNET_CHECK(ended != running.end(), "a request that began ends once");
    running.erase(ended);
    std::shared_ptr<ServerConnection> next;
    if (auto& waiting = share->second.waiting; !waiting.empty()) {
        next = std::move(waiting.front());
        waiting.pop_front();
    }
    EraseIfUnused(share);
    return next;
}

void UserShares::Stop()
{
    const MutexLock lock(mutex_);
    for (auto& [user, share] : shares_) {
        share.waiting.clear();
    }
}

}  // namespace Vexo::Ipc
