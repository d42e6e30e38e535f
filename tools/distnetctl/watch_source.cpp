#include "tools/distnetctl/watch_source.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "platform/base/clock.h"
#include "tools/distnetctl/printable.h"

namespace Vexo::Ctl {

WatchSource::WatchSource(std::string socket, std::chrono::milliseconds limit, WallTime since)
    : socket_(std::move(socket)), limit_(limit), since_(since)
{
}

Snapshot WatchSource::Read()
{
    Snapshot snapshot;
    snapshot.time = Clock::System().WallNow();
    if (!client_) {
        client_ = Client::DistNetClient::Connect(socket_, snapshot.call);
        reader_.Reconnected();
        if (client_) {
            client_->SetLimit(limit_);
        }
    }
    if (client_) {
        snapshot.call = Ask(snapshot);
    }
    if (!snapshot.call.Succeeded()) {
        client_.reset();
    }
    return snapshot;
}

Client::CallResult WatchSource::Ask(Snapshot& snapshot)
{
    Client::CallResult call = client_->GetStatus(snapshot.status);
    if (!call.Succeeded()) {
        return call;
    }
    if (call = client_->GetCounts(snapshot.counts); !call.Succeeded()) {
        return call;
    }
    if (call = client_->GetDevices(snapshot.peers); !call.Succeeded()) {
        return call;
    }
    snapshot.status = Printable(std::move(snapshot.status));
    snapshot.peers = Printable(std::move(snapshot.peers));
    return AskForEvents(snapshot.events);
}

// Reads all new events from the daemon. Each iteration reads one page of events.
Client::CallResult WatchSource::AskForEvents(std::vector<Host::Event>& events)
{
    for (;;) {
        NewEvents read;
        Client::CallResult call = reader_.Read(*client_, std::chrono::milliseconds(0), read);
        if (!call.Succeeded()) {
            return call;
        }
        std::copy_if(read.events.begin(), read.events.end(), std::back_inserter(events),
                     [this](const Host::Event& event) { return event.time >= since_; });
        if (events.size() > MAX_WATCHED_EVENTS) {
            events.erase(events.begin(), events.end() - static_cast<ptrdiff_t>(MAX_WATCHED_EVENTS));
        }
        if (!read.more) {
            return call;
        }
    }
}

}  // namespace Vexo::Ctl
