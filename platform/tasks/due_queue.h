// DueQueue: entries sorted by the time at which they are due. Used by the platform's timers (timers.h), the runtime's
// queues (ffrt.h) and event runners (platform/eventloop/event_queue.h). Not thread-safe: the owner of a queue guards it
// with a lock.
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

// Returns the sum of now and delay. A delay of more than ten years counts as ten years, because the sum would overflow
// the clock. The two are compared in the unit of delay, because a conversion could overflow too.
template <typename Delay>
SteadyTime DueAfter(SteadyTime now, Delay delay)
{
    constexpr std::chrono::hours LONGEST_DELAY{24 * 365 * 10};
    return now + std::min<Delay>(delay, LONGEST_DELAY);
}

// The position of an entry in its queue. Entries are sorted by due time, then by priority (the smallest value first),
// then in the order in which they were added.
struct DuePlace {
    SteadyTime due;
    uint32_t priority = 0;
    uint64_t number = 0;  // counts from 1; unique in the queue

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

    // Returns the time when the first entry is due, or no value for an empty queue.
    std::optional<SteadyTime> NextDue() const
    {
        return entries_.empty() ? std::nullopt : std::optional<SteadyTime>(entries_.begin()->first.due);
    }

    // Removes and returns the first entry if it is due. Otherwise returns no value. now: the current time.
    std::optional<Entry> TakeDue(SteadyTime now)
    {
        if (entries_.empty() || entries_.begin()->first.due > now) {
            return std::nullopt;
        }
        return std::move(entries_.extract(entries_.begin()).mapped());
    }

    // Removes and returns the entry at this place. Returns no value if the entry was removed before. The caller must
    // destroy the entry after releasing its lock, because destroying an entry may need that lock.
    std::optional<Entry> Remove(const DuePlace& place)
    {
        auto node = entries_.extract(place);
        return node ? std::optional<Entry>(std::move(node.mapped())) : std::nullopt;
    }

    // Removes and returns every entry for which the predicate is true. The caller must destroy these entries after
    // releasing its lock, because destroying an entry may need that lock.
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
