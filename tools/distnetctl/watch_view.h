// Formats what `watch` shows: a picture for a terminal, or the changes since the previous look. Depends on nothing but
// its arguments and the local time zone; any thread, each object on one.
#pragma once

#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/base/clock.h"
#include "tools/distnetctl/screen.h"
#include "tools/distnetctl/watch_source.h"

namespace Vexo::Ctl {

// What the picture shows in addition to the last look.
struct WatchHistory {
    std::deque<Host::Event> events;     // newest last; at most MAX_WATCHED_EVENTS
    std::optional<WallTime> awaySince;  // the daemon does not answer

    void Take(const Snapshot& snapshot);
};

// The picture, no larger than size. A small screen leaves out what rarely changes (abilities, versions) and older
// events.
std::vector<ScreenLine> Picture(const Snapshot& snapshot, const WatchHistory& history, const ScreenSize& size);

// One change, in words: {"peer", "phone", "away"}.
struct Change {
    std::string subject;
    std::string name;  // which peer or ability; empty for other subjects
    std::string value;
    std::string before;  // the previous value; empty if there was none
    std::string id;      // network id of the peer, or number of the ability
    std::string word;    // value as a word or number without names, for programs
    std::string wordBefore;
};

class ChangeFinder {
public:
    // The differences from the previous looks; at the first look everything.
    std::vector<Change> Compare(const Snapshot& snapshot);

private:
    struct Fact {
        std::string name;
        std::string value;
        std::string word;  // as Change::word; empty: as value
    };
    using Facts = std::map<std::pair<std::string, std::string>, Fact>;  // by subject and id

    static Facts FactsOf(const Snapshot& snapshot);

    Facts known_;
};

// The event's parameters as "KEY=value KEY=value". Printable; long values are cut.
std::string ParametersText(const Host::Event& event);

// "12:08:06", local time.
std::string ClockText(WallTime time);

}  // namespace Vexo::Ctl
