// Formats what `watch` shows: a picture for a terminal, or the changes since the previous snapshot. Depends only on the
// arguments and the local time zone. Any thread; use each object on one thread.
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

// What the picture shows in addition to the last snapshot.
struct WatchHistory {
    std::deque<Host::Event> events;     // newest last; at most MAX_WATCHED_EVENTS
    std::optional<WallTime> awaySince;  // since when the daemon has not answered

    void Take(const Snapshot& snapshot);
};

// Returns the picture, no larger than size. On a small screen it leaves out older events and what rarely changes
// (abilities, versions).
std::vector<ScreenLine> Picture(const Snapshot& snapshot, const WatchHistory& history, const ScreenSize& size);

// One change, for example subject "peer", name "phone", value "away".
struct Change {
    std::string subject;
    std::string name;  // of the peer or ability; empty for other subjects
    std::string value;
    std::string before;      // the previous value; empty if there was none
    std::string id;          // network id of the peer, or number of the ability
    std::string word;        // value for programs: a word or a number, without names
    std::string wordBefore;  // before, for programs
};

class ChangeFinder {
public:
    // Returns the differences from the previous snapshots; for the first snapshot, all values.
    std::vector<Change> Compare(const Snapshot& snapshot);

private:
    struct Fact {
        std::string name;
        std::string value;
        std::string word;  // as Change::word; empty: same as value
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
