// WatchSource: reads from the daemon what the command `watch` shows. All reads use one connection. If the connection is
// lost, the next call of Read connects again. Main thread only. Each call to the daemon blocks for at most the time
// limit that the constructor gets.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "client/distnet_client.h"
#include "platform/base/clock.h"
#include "tools/distnetctl/event_reader.h"
#include "tools/distnetctl/peers.h"

namespace Vexo::Ctl {

// The answers of the daemon to one call of Read. All texts are printable (printable.h), except the texts of the events.
struct Snapshot {
    WallTime time;
    Client::CallResult call;  // if the call failed, status, counts and peers are not valid
    Host::HostStatus status;
    Host::HostCounts counts;
    std::vector<Peer> peers;
    std::vector<Host::Event> events;  // new since the previous Read; at most MAX_WATCHED_EVENTS, the newest
};

inline constexpr size_t MAX_WATCHED_EVENTS = 100;

class WatchSource {
public:
    // limit: the longest wait for one answer of the daemon. since: Read ignores events that are older than this time.
    WatchSource(std::string socket, std::chrono::milliseconds limit, WallTime since);

    Snapshot Read();

private:
    Client::CallResult Ask(Snapshot& snapshot);
    Client::CallResult AskForEvents(std::vector<Host::Event>& events);

    const std::string socket_;
    const std::chrono::milliseconds limit_;
    const WallTime since_;
    std::unique_ptr<Client::DistNetClient> client_;
    EventReader reader_;
};

}  // namespace Vexo::Ctl
