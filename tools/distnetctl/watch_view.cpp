#include "tools/distnetctl/watch_view.h"

#include <algorithm>
#include <array>

#include "interfaces/named_values.h"
#include "platform/base/text.h"
#include "platform/base/utf8.h"
#include "tools/distnetctl/output.h"
#include "tools/distnetctl/status_view.h"
#include "tools/distnetctl/time_word.h"

namespace Vexo::Ctl {

namespace {

using Style = ScreenLine::Style;

constexpr size_t ROOMY_ROWS = 20;  // a smaller screen leaves out values that rarely change
constexpr size_t NAME_WIDTH = 20;  // the width of a peer's name
constexpr size_t PEER_ROW_WIDTH = NAME_WIDTH + PEER_COLUMNS_WIDTH;  // narrower screens show only name and state
constexpr const char* AWAY = "away";
constexpr size_t MAX_VALUE_BYTES = 200;  // the maximum length of the value of an event parameter

// Formats a time in local time: "12:08:06", or "11-20 12:08" if it is more than a day before now.
std::string EventClock(WallTime time, WallTime now)
{
    return LocalText(time, now - time < std::chrono::hours(24) ? "%H:%M:%S" : "%m-%d %H:%M");
}

bool IsEssential(const std::string& label)
{
    static constexpr std::array LABELS{"device", "service", "Wi-Fi", "hotspot", "open"};
    return std::find(LABELS.begin(), LABELS.end(), label) != LABELS.end();
}

void AddStatus(const Snapshot& snapshot, bool roomy, std::vector<ScreenLine>& picture)
{
    for (const StatusLine& line : StatusLines(snapshot.status, snapshot.counts)) {
        if (roomy || IsEssential(line.label)) {
            picture.push_back({Labelled(line), line.label == "device" ? Style::HEADING : Style::PLAIN});
        }
    }
}

std::string NarrowPeerLine(const Peer& peer)
{
    return Column(peer.name, 16) + " " + (peer.online ? "reachable" : "away, " + LastSeenText(peer));
}

// Adds the list of peers to the picture. rows: how many lines may be added, including the heading.
void AddPeers(const std::vector<Peer>& peers, const ScreenSize& size, size_t rows, std::vector<ScreenLine>& picture)
{
    if (rows == 0) {
        return;
    }
    const bool wide = size.columns >= PEER_ROW_WIDTH;
    picture.push_back({peers.empty() ? "No peer has been met yet."
                       : wide        ? PeerHeading(NAME_WIDTH)
                                     : "PEER             STATE",
                       peers.empty() ? Style::PLAIN : Style::HEADING});
    const size_t room = rows - 1;
    const size_t shown = peers.size() <= room ? peers.size() : room > 0 ? room - 1 : 0;
    for (size_t i = 0; i < shown; ++i) {
        picture.push_back({wide ? PeerLine(peers[i], NAME_WIDTH) : NarrowPeerLine(peers[i])});
    }
    if (shown < peers.size() && room > 0) {
        picture.push_back({"… and " + std::to_string(peers.size() - shown) + " more"});
    }
}

// Adds the newest events to the picture. rows: how many lines may be added, including the heading.
void AddEvents(const std::deque<Host::Event>& events, WallTime now, size_t rows, std::vector<ScreenLine>& picture)
{
    if (rows < 2 || events.empty()) {
        return;
    }
    picture.push_back({"LAST EVENTS", Style::HEADING});
    for (size_t i = events.size() - std::min(rows - 1, events.size()); i < events.size(); ++i) {
        const Host::Event& event = events[i];
        picture.push_back({EventClock(event.time, now) + " " + EscapeHidden(event.name) + " " + ParametersText(event)});
    }
}

}  // namespace

std::string ParametersText(const Host::Event& event)
{
    std::string text;
    for (const Host::EventParameter& parameter : event.parameters) {
        const auto* number = std::get_if<int32_t>(&parameter.value);
        const std::string value = number != nullptr ? std::to_string(*number) : std::get<std::string>(parameter.value);
        text += (text.empty() ? "" : " ") + parameter.key + "=" + std::string(CutToBytes(value, MAX_VALUE_BYTES));
    }
    return EscapeHidden(text);
}

std::string ClockText(WallTime time)
{
    return LocalText(time, "%H:%M:%S");
}

void WatchHistory::Take(const Snapshot& snapshot)
{
    events.insert(events.end(), snapshot.events.begin(), snapshot.events.end());
    while (events.size() > MAX_WATCHED_EVENTS) {
        events.pop_front();
    }
    if (snapshot.call.Succeeded()) {
        awaySince.reset();
    } else if (!awaySince) {
        awaySince = snapshot.time;
    }
}

std::vector<ScreenLine> Picture(const Snapshot& snapshot, const WatchHistory& history, const ScreenSize& size)
{
    std::vector<ScreenLine> picture;
    const bool roomy = size.rows >= ROOMY_ROWS;
    const size_t body = size.rows > 0 ? size.rows - 1 : 0;  // the last row shows the footer
    const auto left = [&] { return body > picture.size() ? body - picture.size() : 0; };
    const auto gap = [&] {
        if (roomy) {
            picture.emplace_back();
        }
    };
    if (history.awaySince) {
        picture.push_back({"daemon away since " + ClockText(*history.awaySince), Style::WRONG});
        for (const std::string& piece : Wrap(EscapeHidden(snapshot.call.message), std::max<size_t>(size.columns, 1))) {
            picture.push_back({piece});
        }
    } else {
        AddStatus(snapshot, roomy, picture);
        gap();
        // The peers use up to three quarters of the remaining rows. The events use the rest.
        AddPeers(snapshot.peers, size, left() - left() / 4, picture);
    }
    gap();
    AddEvents(history.events, snapshot.time, left(), picture);
    picture.resize(body);
    picture.push_back({ClockText(snapshot.time) + "  q quits"});
    return picture;
}

namespace {

std::string WifiWord(const Host::WifiStatus& wifi)
{
    return wifi.present ? NameOf(wifi.state) : "absent";
}

std::string HotspotWord(const Host::HotspotStatus& hotspot)
{
    return !hotspot.present ? "absent" : !hotspot.active ? "unknown" : *hotspot.active ? "open" : "closed";
}

}  // namespace

// Returns all values of a snapshot whose changes are printed.
ChangeFinder::Facts ChangeFinder::FactsOf(const Snapshot& snapshot)
{
    Facts facts;
    facts[{"daemon", ""}] = {"", "answers", ""};
    facts[{"service", ""}] = {"", NameOf(snapshot.status.service), ""};
    facts[{"Wi-Fi", ""}] = {"", WifiText(snapshot.status.wifi), WifiWord(snapshot.status.wifi)};
    facts[{"hotspot", ""}] = {"", HotspotText(snapshot.status.hotspot), HotspotWord(snapshot.status.hotspot)};
    facts[{"sessions", ""}] = {"", std::to_string(snapshot.counts.sessions), ""};
    facts[{"pending", ""}] = {"", std::to_string(snapshot.counts.Pending()), ""};
    for (const Host::AbilityStatus& ability : snapshot.status.abilities) {
        facts[{"ability", std::to_string(ability.id)}] = {ability.name, "present", ""};
    }
    for (const Peer& peer : snapshot.peers) {
        facts[{"peer", peer.networkId}] = {peer.name, peer.online ? "reachable" : AWAY, ""};
    }
    return facts;
}

std::vector<Change> ChangeFinder::Compare(const Snapshot& snapshot)
{
    std::vector<Change> changes;
    // If the daemon does not answer, its last values are kept. They are compared with its next answer.
    const bool answers = snapshot.call.Succeeded();
    Facts now = answers ? FactsOf(snapshot) : known_;
    if (!answers) {
        now[{"daemon", ""}] = {"", AWAY, ""};
    }
    for (auto& [key, fact] : known_) {
        if (!now.contains(key)) {
            now[key] = {fact.name, "gone", ""};
        }
    }
    for (const auto& [key, fact] : now) {
        const auto before = known_.find(key);
        if (before == known_.end() || before->second.value != fact.value) {
            const Fact was = before == known_.end() ? Fact() : before->second;
            changes.push_back({key.first, fact.name, fact.value, was.value, key.second,
                               fact.word.empty() ? fact.value : fact.word, was.word.empty() ? was.value : was.word});
        }
    }
    known_ = std::move(now);
    return changes;
}

}  // namespace Vexo::Ctl
