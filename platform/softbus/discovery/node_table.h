// NodeTable: the devices of this account met since start: who they are, whether they are online, and where they can be
// reached. The reactor writes, any thread reads; nothing blocks.
#pragma once

#include <chrono>
#include <map>
#include <string>
#include <vector>

#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"
#include "platform/softbus/link/frame.h"
#include "platform/softbus/softbus_service.h"
#include "platform/softbus/transport/transport.h"

namespace Vexo::SoftBus {

class NodeTable : public NoCopyable {
public:
    // A presence connection with that verified device opened, and said hello. Its addresses go before those of
    // connections that are still open and replace all others. True when it was not online before.
    bool LinkUp(const std::string& networkId, const Hello& hello) EXCLUDES(mutex_);
    // One of its presence connections ended: how many are left. The device stays online until MarkOffline.
    size_t LinkDown(const std::string& networkId) EXCLUDES(mutex_);
    // Only when no presence connection is left. True when it was online before.
    bool MarkOffline(const std::string& networkId) EXCLUDES(mutex_);

    bool IsOnline(const std::string& networkId) const EXCLUDES(mutex_);
    // Where the device can be reached, best first; empty for an unknown one.
    std::vector<PeerAddress> Addresses(const std::string& networkId) const EXCLUDES(mutex_);
    // Online first, then by name.
    std::vector<Node> List() const EXCLUDES(mutex_);

private:
    struct Entry {
        Node node;
        std::vector<PeerAddress> addresses;
        size_t links = 0;
        // The device's clock less the time that passes whatever is done to clocks (std::chrono::steady_clock).
        std::chrono::milliseconds clockOverSteady{0};
    };

    mutable Mutex mutex_;
    std::map<std::string, Entry> entries_ GUARDED_BY(mutex_);
};

// Milliseconds since 1970, UTC.
int64_t WallClockMs();

}  // namespace Vexo::SoftBus
