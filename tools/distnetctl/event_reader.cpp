#include "tools/distnetctl/event_reader.h"

#include <algorithm>
#include <utility>

namespace Vexo::Ctl {

Client::CallResult EventReader::Read(Client::DistNetClient& client, std::chrono::milliseconds wait, NewEvents& read)
{
    Host::EventPage page;
    Client::CallResult call = client.GetEvents(cursor_, wait, page);
    if (!call.Succeeded()) {
        return call;
    }
    read = {std::move(page.events), page.cursor != cursor_, page.missed};
    cursor_ = page.cursor;
    if (resumeAfter_) {
        const auto known = std::find(read.events.begin(), read.events.end(), *resumeAfter_);
        const bool found = known != read.events.end();
        read.events.erase(read.events.begin(), found ? known + 1 : known);
        if (found) {
            resumeAfter_.reset();
        }
    }
    if (resumeAfter_ && !read.more) {
        // The daemon no longer has the event that was read last, so all events that it has are newer.
        resumeAfter_.reset();
        cursor_ = 0;
        read.more = read.missed = true;
    }
    if (!read.events.empty()) {
        last_ = read.events.back();
    }
    return call;
}

void EventReader::Reconnected()
{
    cursor_ = 0;
    resumeAfter_ = last_;
}

}  // namespace Vexo::Ctl
