// DueQueue: entries sorted by the time at which they are due. Used by the platform's timers (timers.h), the runtime's
// queues (ffrt.h) and event runners (platform/eventloop/event_queue.h). Not thread-safe: its owner's lock guards it.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
#include <optional>
#include <tuple>
#include <utility>
#include <vector>

#include "platform/base/clock.h"

namespace Vexo::Tasks {

// Returns now + delay. A delay counts at most ten years, so that the sum does not overflow the clock. The comparison is
// made in the unit of the delay, so that it does not overflow either.
template <typename Delay>
SteadyTime DueAfter(SteadyTime now, Delay delay)
{
    constexpr std::chrono::hours LONGEST_DELAY{24 * 365 * 10};
    return now + std::min<Delay>(delay, LONGEST_DELAY);
}

// The position of an entry in its queue. Of entries that are due at the same time, the one with the smaller priority
// comes first; with equal priority, the one that was added first.
struct DuePlace {
    SteadyTime due;
    uint32_t priority = 0;
    uint64_t number = 0;  // from 1 on, unique in the queue

    friend bool operator<(const DuePlace& left, const DuePlace& right)
    {
        return std::tie(left.due, left.priority, left.number) < std::tie(right.due, right.priority, right.number);
    }
};

template <typename Entry>
class DueQueue {
public:
    DuePlace Add(SteadyTime due, Entry entry, uint32_t priority = 0)
    {
        const DuePlace place{due, priority, ++lastNumber_};
        entries_.emplace(place, std::move(entry));
        return place;
    }

    // Returns when the first entry is due; no value for an empty queue.
    std::optional<SteadyTime> NextDue() const
    {
        return entries_.empty() ? std::nullopt : std::optional<SteadyTime>(entries_.begin()->first.due);
    }

    // Removes and returns the first entry if it is due at now; else returns no value.
    std::optional<Entry> TakeDue(SteadyTime now)
    {
        if (entries_.empty() || entries_.begin()->first.due > now) {
            return std::nullopt;
        }
        return std::move(entries_.extract(entries_.begin()).mapped());
    }

    // Removes and returns the entry at that place; no value if it was removed before. The caller must destroy the entry
    // after releasing its lock, because destroying an entry may need that lock.
    std::optional<Entry> Remove(const DuePlace& place)
    {
        auto node = entries_.extract(place);
        return node ? std::optional<Entry>(std::move(node.mapped())) : std::nullopt;
    }

    // Removes and returns every entry for which the predicate is true. Destroy them as after Remove.
    template <typename Predicate>
    std::vector<Entry> RemoveIf(const Predicate& predicate)
    {
        std::vector<Entry> removed;
        for (auto it = entries_.begin(); it != entries_.end();) {
            const auto next = std::next(it);
            if (predicate(std::as_const(it->second))) {
                removed.push_back(std::move(entries_.extract(it).mapped()));
            }
            it = next;
        }
        return removed;
    }

    bool IsEmpty() const { return entries_.empty(); }

private:
    std::map<DuePlace, Entry> entries_;
    uint64_t lastNumber_ = 0;
};

}  // namespace Vexo::Tasks
