// WatchSource: reads what `watch` shows from the daemon, over one connection. If the connection is lost, each Read
// tries to connect again. Main thread only; each call to the daemon blocks for at most the limit.
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

// The answers of the daemon to one Read. All texts are printable (printable.h) except those of events.
struct Snapshot {
    WallTime time;
    Client::CallResult call;  // if it did not succeed, only the events below are valid
    Host::HostStatus status;
    Host::HostCounts counts;
    std::vector<Peer> peers;
    std::vector<Host::Event> events;  // since the previous Read; only the newest MAX_WATCHED_EVENTS
};

inline constexpr size_t MAX_WATCHED_EVENTS = 100;

class WatchSource {
public:
    // Events before since are left out.
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
