#include "tools/distnetctl/watch_source.h"

#include <utility>

#include "platform/base/utf8.h"

namespace Vexo::Ctl {

namespace {

constexpr size_t MAX_PARAM_BYTES = 200;

std::string ParamsOf(const cJSON* params)
{
    std::string text;
    const cJSON* param = nullptr;
    cJSON_ArrayForEach(param, params)
    {
        const std::string shown = cJSON_IsString(param) ? param->valuestring : JsonText(param);
        text += (text.empty() ? "" : " ") + std::string(param->string) + "=" +
                std::string(CutToBytes(shown, MAX_PARAM_BYTES));
    }
    return EscapeHidden(text);
}

}  // namespace

WatchSource::WatchSource(std::string socket, std::chrono::milliseconds limit, std::string since)
    : socket_(std::move(socket)), limit_(limit), since_(std::move(since))
{
}

Snapshot WatchSource::Look()
{
    Snapshot snapshot;
    snapshot.time = std::chrono::system_clock::now();
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
    std::string json;
    Client::CallResult call = client_->GetStatus(json);
    if (!call.Succeeded()) {
        return call;
    }
    snapshot.status = ParseJson(json);
    if (call = client_->GetCounts(json); !call.Succeeded()) {
        return call;
    }
    snapshot.counts = ParseJson(json);
    if (call = client_->GetDevices(json); !call.Succeeded()) {
        return call;
    }
    snapshot.peers = ParsePeers(json);
    return AskForEvents(snapshot.events);
}

// Page by page, until nothing follows.
Client::CallResult WatchSource::AskForEvents(std::vector<WatchedEvent>& events)
{
    for (;;) {
        EventPage page;
        Client::CallResult call = reader_.Read(*client_, std::chrono::milliseconds(0), page);
        if (!call.Succeeded()) {
            return call;
        }
        const cJSON* event = nullptr;
        cJSON_ArrayForEach(event, page.events.get())
        {
            const cJSON* params = cJSON_GetObjectItemCaseSensitive(event, "params");
            if (std::string time = TextOf(event, "time"); time >= since_) {
                events.push_back({std::move(time), TextOf(event, "name"), ParamsOf(params), JsonText(params)});
            }
        }
        if (events.size() > MAX_WATCHED_EVENTS) {
            events.erase(events.begin(), events.end() - static_cast<ptrdiff_t>(MAX_WATCHED_EVENTS));
        }
        if (!page.more) {
            return call;
        }
    }
}

}  // namespace Vexo::Ctl
