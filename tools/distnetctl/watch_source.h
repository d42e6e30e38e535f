// WatchSource: what `watch` looks at, read from the daemon again and again over one connection; a daemon that goes away
// is asked for again at each look. Main thread only; a look blocks for at most the limit of a call.
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

// How things stood at one look. Texts are printable, but for those of events.
struct Snapshot {
    WallTime time;
    Client::CallResult call;  // when it did not succeed, nothing below but the events counts
    Host::HostStatus status;
    Host::HostCounts counts;
    std::vector<Peer> peers;
    std::vector<Host::Event> events;  // new since the look before; at most MAX_WATCHED_EVENTS
};

inline constexpr size_t MAX_WATCHED_EVENTS = 100;

class WatchSource {
public:
    // since: events before it do not count.
    WatchSource(std::string socket, std::chrono::milliseconds limit, WallTime since);

    Snapshot Look();

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
