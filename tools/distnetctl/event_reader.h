// EventReader: reads the daemon's events and returns each event only once, even if the daemon restarts. A restarted
// daemon numbers its events from the start and sends all events in its files again. EventReader then skips the events
// that it has already returned. Main thread only.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "client/distnet_client.h"

namespace Vexo::Ctl {

struct NewEvents {
    std::vector<Host::Event> events;  // oldest event first; may be empty
    bool more = false;                // true: the daemon may already have more events
    bool missed = false;              // true: the daemon deleted some events before they were read
};

// Returns the name of a device whose network id is masked in an event. masked: the network id, with its middle replaced
// ("3f91c…d6384" or asterisks). The result is the name of the known device whose network id has the same beginning and
// the same end. No value if no device or several devices match.
std::optional<std::string> NameOfMaskedId(const std::string& masked, const std::vector<Host::KnownDevice>& devices);

class EventReader {
public:
    // Reads the events that follow the events of the previous call. Blocks until an event is available. wait: the
    // longest time to block. read: receives the events; not changed if the call fails.
    Client::CallResult Read(Client::DistNetClient& client, std::chrono::milliseconds wait, NewEvents& read);

    // Call this before the first Read on a new connection, because the daemon may have restarted.
    void Reconnected();

private:
    uint64_t cursor_ = 0;  // the position in the events of the connected daemon; not valid after it restarts
    std::optional<Host::Event> last_;
    std::optional<Host::Event> resumeAfter_;  // skip all events up to this event, which was already returned
};

}  // namespace Vexo::Ctl
