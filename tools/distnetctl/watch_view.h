// Formats what the command `watch` shows: a picture for a terminal, or the changes since the previous snapshot. The
// results depend only on the arguments and the local time zone. Any thread, but use each object on one thread.
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

// The data that the picture shows in addition to the last snapshot.
struct WatchHistory {
    std::deque<Host::Event> events;     // ordered by time, the newest last; at most MAX_WATCHED_EVENTS
    std::optional<WallTime> awaySince;  // when the daemon stopped answering; no value while it answers

    void Take(const Snapshot& snapshot);
};

// Returns the picture. It has at most the given size. A small picture leaves out older events, and values that rarely
// change (abilities, versions).
std::vector<ScreenLine> Picture(const Snapshot& snapshot, const WatchHistory& history, const ScreenSize& size);

// One change of the status. Example: the subject is "peer", the name is "phone" and the new value is "away".
struct Change {
    std::string subject;
    std::string name;  // the name of the peer or of the ability; empty for other subjects
    std::string value;
    std::string before;      // the previous value; empty if there was none
    std::string id;          // the network id of the peer, or the number of the ability
    std::string word;        // the new value for programs: a word or a number, without names
    std::string wordBefore;  // the previous value for programs
};

class ChangeFinder {
public:
    // Returns what has changed since the previous call. The first call returns all values as changes.
    std::vector<Change> Compare(const Snapshot& snapshot);

private:
    struct Fact {
        std::string name;
        std::string value;
        std::string word;  // see Change::word; empty if it equals value
    };
    using Facts = std::map<std::pair<std::string, std::string>, Fact>;  // the key is the subject and the id

    static Facts FactsOf(const Snapshot& snapshot);

    Facts known_;
};

// Returns the parameters of the event as "KEY=value KEY=value". The result is printable (printable.h). Long values are
// cut.
std::string ParametersText(const Host::Event& event);

// Returns the time of day in local time, such as "12:08:06".
std::string ClockText(WallTime time);

}  // namespace Vexo::Ctl
