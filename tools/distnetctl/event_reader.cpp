#include "tools/distnetctl/event_reader.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace Vexo::Ctl {

namespace {

constexpr size_t MIN_SHOWN = 3;  // how many hex digits a masked id must show at its beginning and at its end

}  // namespace

std::optional<std::string> NameOfMaskedId(const std::string& masked, const std::vector<Host::KnownDevice>& devices)
{
    constexpr std::string_view HEX = "0123456789abcdef";
    const size_t begin = std::min(masked.find_first_not_of(HEX), masked.size());
    const size_t end = masked.find_last_not_of(HEX) + 1;
    const std::string first = masked.substr(0, begin);
    const std::string last = masked.substr(std::min(end, masked.size()));
    if (first.size() < MIN_SHOWN || last.size() < MIN_SHOWN || begin == masked.size()) {
        return std::nullopt;
    }
    std::optional<std::string> name;
    for (const Host::KnownDevice& device : devices) {
        if (!device.networkId.starts_with(first) || !device.networkId.ends_with(last)) {
            continue;
        }
        if (name) {
            return std::nullopt;
        }
        name = device.name;
    }
    return name;
}

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
        // The daemon has deleted the event that was read last. All events that the daemon still has are newer.
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
