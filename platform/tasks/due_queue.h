// DueQueue: entries sorted by the time at which they are due. Used by the platform's timers (timers.h), the runtime's
// queues (ffrt.h) and event runners (platform/eventloop/event_queue.h). Not thread-safe: the owner of a queue guards it
// with a lock.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <tuple>
#include <utility>
#include <vector>

#include "platform/base/clock.h"

namespace Vexo::Tasks {

// Returns the sum of now and delay. A delay of more than ten years counts as ten years; a longer one could overflow the
// sum. The delay is compared in its own unit, because a conversion of the delay to nanoseconds could overflow.
template <typename Delay>
SteadyTime DueAfter(SteadyTime now, Delay delay)
{
    constexpr std::chrono::hours LONGEST_DELAY{24 * 365 * 10};
    return now + std::min<Delay>(delay, LONGEST_DELAY);
}

// Identifies an entry of a queue. Entries are sorted by due time, then by priority (the smallest value first), then in
// the order in which they were added.
struct DuePlace {
    SteadyTime due;
    uint32_t priority = 0;
    uint32_t slot = 0;    // where the queue stores the entry
    uint64_t number = 0;  // counts from 1; unique in the queue

    friend bool operator<(const DuePlace& left, const DuePlace& right)
    {
        return std::tie(left.due, left.priority, left.number) < std::tie(right.due, right.priority, right.number);
    }
};

// A binary heap of places, and a slot for each entry. A slot knows the position of its place in the heap, so an entry
// is removed from the middle without a search, and adding an entry rarely allocates memory.
template <typename Entry>
class DueQueue {
public:
    DuePlace Add(SteadyTime due, Entry entry, uint32_t priority = 0)
    {
        const DuePlace place{due, priority, FreeSlot(), ++lastNumber_};
        slots_[place.slot].entry.emplace(std::move(entry));
        heap_.push_back(place);
        MoveUp(heap_.size() - 1);
        return place;
    }

    // Returns the time when the first entry is due, or no value for an empty queue.
    std::optional<SteadyTime> NextDue() const
    {
        return heap_.empty() ? std::nullopt : std::optional<SteadyTime>(heap_.front().due);
    }

    // Removes and returns the first entry if it is due. Otherwise returns no value. now: the current time.
    std::optional<Entry> TakeDue(SteadyTime now)
    {
        return heap_.empty() || heap_.front().due > now ? std::nullopt : TakeAt(0);
    }

    // Removes and returns the entry at this place. Returns no value if the entry was removed before. The caller must
    // destroy the entry after releasing the queue's lock, because destroying an entry may need that lock.
    std::optional<Entry> Remove(const DuePlace& place)
    {
        if (place.slot >= slots_.size() || !slots_[place.slot].entry) {
            return std::nullopt;
        }
        const size_t position = slots_[place.slot].position;
        return heap_[position].number == place.number ? TakeAt(position) : std::nullopt;
    }

    // Removes every entry for which the predicate is true, and returns these entries in the order in which they are
    // due. The caller must destroy these entries after releasing the queue's lock, because destroying an entry may need
    // that lock.
    template <typename Predicate>
    std::vector<Entry> RemoveIf(const Predicate& predicate)
    {
        std::vector<DuePlace> matching;
        std::copy_if(heap_.begin(), heap_.end(), std::back_inserter(matching),
                     [&](const DuePlace& place) { return predicate(std::as_const(*slots_[place.slot].entry)); });
        std::sort(matching.begin(), matching.end());
        std::vector<Entry> removed;
        removed.reserve(matching.size());
        for (const DuePlace& place : matching) {
            removed.push_back(std::move(*Remove(place)));
        }
        return removed;
    }

    bool IsEmpty() const { return heap_.empty(); }

private:
    struct Slot {
        std::optional<Entry> entry;  // no value: the slot is free
        size_t position = 0;         // of the entry's place in heap_
    };

    uint32_t FreeSlot()
    {
        if (freeSlots_.empty()) {
            slots_.emplace_back();
            return static_cast<uint32_t>(slots_.size() - 1);
        }
        const uint32_t slot = freeSlots_.back();
        freeSlots_.pop_back();
        return slot;
    }

    std::optional<Entry> TakeAt(size_t position)
    {
        const uint32_t slot = heap_[position].slot;
        std::optional<Entry> entry = std::exchange(slots_[slot].entry, std::nullopt);
        freeSlots_.push_back(slot);
        const DuePlace last = heap_.back();
        heap_.pop_back();
        if (position < heap_.size()) {
            Put(position, last);
            MoveDown(position);
            MoveUp(position);
        }
        if (heap_.empty() && slots_.size() > KEPT_SLOTS) {
            slots_ = {};  // a burst of entries has ended
            freeSlots_ = {};
            heap_ = {};
        }
        return entry;
    }

    void Put(size_t position, const DuePlace& place)
    {
        heap_[position] = place;
        slots_[place.slot].position = position;
    }

    void MoveUp(size_t position)
    {
        const DuePlace place = heap_[position];
        for (; position > 0 && place < heap_[(position - 1) / 2]; position = (position - 1) / 2) {
            Put(position, heap_[(position - 1) / 2]);
        }
        Put(position, place);
    }

    void MoveDown(size_t position)
    {
        const DuePlace place = heap_[position];
        for (size_t child = 2 * position + 1; child < heap_.size(); child = 2 * position + 1) {
            if (child + 1 < heap_.size() && heap_[child + 1] < heap_[child]) {
                ++child;
            }
            if (!(heap_[child] < place)) {
                break;
            }
            Put(position, heap_[child]);
            position = child;
        }
        Put(position, place);
    }

    static constexpr size_t KEPT_SLOTS = 64;

    std::vector<DuePlace> heap_;  // each place is before the places of its two children
    std::vector<Slot> slots_;
    std::vector<uint32_t> freeSlots_;
    uint64_t lastNumber_ = 0;
};

}  // namespace Vexo::Tasks
