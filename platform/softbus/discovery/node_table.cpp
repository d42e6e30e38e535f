#include "platform/softbus/discovery/node_table.h"

#include <algorithm>
#include <chrono>
#include <tuple>

#include "platform/base/clock.h"

namespace Vexo::SoftBus {

int64_t WallClockMs()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::System().WallNow().time_since_epoch()).count();
}

namespace {

std::chrono::milliseconds SteadyNow()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::System().Now().time_since_epoch());
}

}  // namespace

bool NodeTable::LinkUp(const std::string& networkId, const Hello& hello)
{
    MutexLock lock(mutex_);
    Entry& entry = entries_[networkId];
    const bool wasOnline = entry.node.online;
    entry.node = {networkId, hello.deviceId, hello.deviceName, hello.deviceTypeId, true, WallClockMs()};
    entry.clockOverSteady = std::chrono::milliseconds(hello.clockMs) - SteadyNow();
    std::vector<PeerAddress> addresses = hello.addresses;
    for (const PeerAddress& known : entry.addresses) {
        const bool isNew = std::find(addresses.begin(), addresses.end(), known) == addresses.end();
        if (entry.links > 0 && isNew && addresses.size() < 2 * MAX_HELLO_ADDRESSES) {
            addresses.push_back(known);
        }
    }
    entry.addresses = std::move(addresses);
    ++entry.links;
    return !wasOnline;
}

size_t NodeTable::LinkDown(const std::string& networkId)
{
    MutexLock lock(mutex_);
    Entry& entry = entries_[networkId];
    entry.node.lastSeenMs = WallClockMs();
    return entry.links > 0 ? --entry.links : 0;
}

bool NodeTable::MarkOffline(const std::string& networkId)
{
    MutexLock lock(mutex_);
    const auto found = entries_.find(networkId);
    if (found == entries_.end() || found->second.links > 0) {
        return false;
    }
    return std::exchange(found->second.node.online, false);
}

bool NodeTable::IsOnline(const std::string& networkId) const
{
    MutexLock lock(mutex_);
    const auto found = entries_.find(networkId);
    return found != entries_.end() && found->second.node.online;
}

std::vector<PeerAddress> NodeTable::Addresses(const std::string& networkId) const
{
    MutexLock lock(mutex_);
    const auto found = entries_.find(networkId);
    return found == entries_.end() ? std::vector<PeerAddress>{} : found->second.addresses;
}

std::vector<Node> NodeTable::List() const
{
    std::vector<Node> nodes;
    const int64_t now = WallClockMs();
    const std::chrono::milliseconds ownOverSteady = std::chrono::milliseconds(now) - SteadyNow();
    {
        MutexLock lock(mutex_);
        for (const auto& [networkId, entry] : entries_) {
            nodes.push_back(entry.node);
            nodes.back().clockAhead = entry.clockOverSteady - ownOverSteady;
        }
    }
    for (Node& node : nodes) {
        node.lastSeenMs = node.online ? now : node.lastSeenMs;
    }
    std::sort(nodes.begin(), nodes.end(), [](const Node& a, const Node& b) {
        return std::tie(b.online, a.deviceName, a.networkId) < std::tie(a.online, b.deviceName, b.networkId);
    });
    return nodes;
}

}  // namespace Vexo::SoftBus
