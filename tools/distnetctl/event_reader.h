// EventReader: reads the daemon's events and returns each event once, even if the daemon restarts. A restarted daemon
// numbers its events from the start and sends all events in its files again, so EventReader skips the events that it
// has returned before. Main thread only.
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
    bool more = false;                // more events may be available already
    bool missed = false;              // some older events were deleted before they were read
};

// Finds the device of masked, a network id whose middle is replaced in an event ("3f91c…d6384", or with asterisks).
// Returns the name of the known device whose network id has the same begin and end. No value if none or several have.
std::optional<std::string> NameOfMaskedId(const std::string& masked, const std::vector<Host::KnownDevice>& devices);

class EventReader {
public:
    // Reads the events that follow those read before. Blocks until an event is available or wait has passed. If the
    // call fails, read is not changed.
    Client::CallResult Read(Client::DistNetClient& client, std::chrono::milliseconds wait, NewEvents& read);

    // Call before the first Read with a new connection, because the daemon may have restarted.
    void Reconnected();

private:
    uint64_t cursor_ = 0;  // valid for the connected daemon only
    std::optional<Host::Event> last_;
    std::optional<Host::Event> resumeAfter_;  // skip events up to this one, which was read on an earlier connection
};

}  // namespace Vexo::Ctl
