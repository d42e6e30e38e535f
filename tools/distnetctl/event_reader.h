// EventReader: the daemon's events, each of them once, also from a daemon that went and came back: it counts its events
// anew and sends all that its files keep. Used from the main thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

#include "client/distnet_client.h"

namespace Vexo::Ctl {

struct NewEvents {
    std::vector<Host::Event> events;  // oldest first; may be empty
    bool more = false;                // further events may follow at once
    bool missed = false;              // events before these were removed before they could be read
};

class EventReader {
public:
    // The events that follow those read before. Blocks until there are some, at the latest until wait has passed. When
    // the call does not succeed, nothing was read.
    Client::CallResult Read(Client::DistNetClient& client, std::chrono::milliseconds wait, NewEvents& read);

    // From here on the client is a new connection, maybe to a daemon that was started again.
    void Reconnected();

private:
    uint64_t cursor_ = 0;  // of the daemon that is connected
    std::optional<Host::Event> last_;
    std::optional<Host::Event> resumeAfter_;  // what comes before, and this event, was read from an earlier connection
};

}  // namespace Vexo::Ctl
