#include "tools/distnetctl/event_reader.h"

#include "tools/distnetctl/json.h"

namespace Vexo::Ctl {

Client::CallResult EventReader::Read(Client::DistNetClient& client, std::chrono::milliseconds wait, EventPage& page)
{
    std::string json;
    Client::CallResult call = client.GetEvents(cursor_, wait, json);
    if (!call.Succeeded()) {
        return call;
    }
    const Json answer = ParseJson(json);
    const auto next = static_cast<uint64_t>(NumberOf(answer.get(), "cursor", static_cast<double>(cursor_)));
    page.more = next != cursor_;
    page.missed = IsTrue(answer.get(), "missed");
    page.events.reset(cJSON_DetachItemFromObjectCaseSensitive(answer.get(), "events"));
    cursor_ = next;
    while (!resumeAfter_.empty() && cJSON_GetArraySize(page.events.get()) > 0) {
        const Json known(cJSON_DetachItemFromArray(page.events.get(), 0));
        if (JsonText(known.get()) == resumeAfter_) {
            resumeAfter_.clear();
        }
    }
    if (!resumeAfter_.empty() && !page.more) {
        // What was read last is no longer kept, so all that is kept came after it.
        resumeAfter_.clear();
        cursor_ = 0;
        page.more = page.missed = true;
    }
    if (const int count = cJSON_GetArraySize(page.events.get()); count > 0) {
        last_ = JsonText(cJSON_GetArrayItem(page.events.get(), count - 1));
    }
    return call;
}

void EventReader::Reconnected()
{
    cursor_ = 0;
    resumeAfter_ = last_;
}

}  // namespace Vexo::Ctl
