// EventReader: reads the daemon's events and returns each of them once, even if the daemon restarts. A restarted daemon
// numbers its events anew and sends all that its files hold, so EventReader skips those that it has returned before.
// Main thread only.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "client/distnet_client.h"

namespace Vexo::Ctl {

struct NewEvents {
    std::vector<Host::Event> events;  // oldest first; may be empty
    bool more = false;                // further events may follow at once
    bool missed = false;              // some events before these were removed before they could be read
};

// The name of the only known device whose network id has the ends of masked, an id that an event has shortened
// ("3f91c…d6384", or with asterisks). No value if several devices or none have them.
std::optional<std::string> NameOfMaskedId(const std::string& masked, const std::vector<Host::KnownDevice>& devices);

class EventReader {
public:
    // Reads the events that follow those read before. Blocks until there is one, or until wait has passed. If the call
    // does not succeed, nothing was read.
    Client::CallResult Read(Client::DistNetClient& client, std::chrono::milliseconds wait, NewEvents& read);

    // Call before the first Read with a new connection, because the daemon may have restarted.
    void Reconnected();

private:
    uint64_t cursor_ = 0;  // valid for the connected daemon only
    std::optional<Host::Event> last_;
    std::optional<Host::Event> resumeAfter_;  // skip up to and including this event: read on an earlier connection
};

}  // namespace Vexo::Ctl
