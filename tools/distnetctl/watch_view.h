// What `watch` shows: a picture for a terminal, or the differences between two looks. Pure but for the local time zone;
// any thread.
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

// What the picture shows beside the last look.
struct WatchHistory {
    std::deque<Host::Event> events;     // newest last; at most MAX_WATCHED_EVENTS
    std::optional<WallTime> awaySince;  // the daemon does not answer

    void Take(const Snapshot& snapshot);
};

// The picture, no larger than size. On a small screen abilities, versions and older events give way to what changes.
std::vector<ScreenLine> Picture(const Snapshot& snapshot, const WatchHistory& history, const ScreenSize& size);

// One thing that changed, in words: {"peer", "phone", "away"}.
struct Change {
    std::string subject;
    std::string name;  // which one of several; may be empty
    std::string value;
    std::string before;  // empty: it was not there
};

class ChangeFinder {
public:
    // What differs from the looks before; at the first look everything.
    std::vector<Change> Compare(const Snapshot& snapshot);

private:
    struct Fact {
        std::string name;
        std::string value;
    };
    using Facts = std::map<std::pair<std::string, std::string>, Fact>;  // by subject and what tells it apart

    static Facts FactsOf(const Snapshot& snapshot);

    Facts known_;
};

// "KEY=value KEY=value", printable; a long value is cut.
std::string ParametersText(const Host::Event& event);

// "12:08:06", local time.
std::string ClockText(WallTime time);

}  // namespace Vexo::Ctl
