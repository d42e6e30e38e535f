// Timers: the one source of delays of the platform: a thread that sleeps until the next due time, and not at all while
// there is none, hands the work to a pool. A Timer is an object whose destruction cancels it. Any thread may arm one; a
// Timer itself is used like any value, by one thread at a time.
#pragma once

#include <chrono>
#include <utility>

#include "platform/base/clock.h"
#include "platform/tasks/due_queue.h"
#include "platform/tasks/elastic_pool.h"

namespace Vexo::Tasks {

class Timers;

class [[nodiscard]] Timer {
public:
    Timer() = default;  // not armed
    ~Timer() { Cancel(); }
    Timer(Timer&& other) noexcept : timers_(std::exchange(other.timers_, nullptr)), place_(other.place_) {}
    Timer& operator=(Timer&& other) noexcept;

    // True when the work had been neither started nor handed to its pool: it will not run. Does not wait for work that
    // runs. The timer is not armed afterwards.
    bool Cancel() noexcept;
    // Lets the work run whatever becomes of this object.
    void Detach() noexcept { timers_ = nullptr; }
    // From being armed to Cancel or Detach, also once the work has run.
    bool IsArmed() const noexcept { return timers_ != nullptr; }

private:
    friend class Timers;
    Timer(Timers& timers, const DuePlace& place) : timers_(&timers), place_(place) {}

    Timers* timers_ = nullptr;
    DuePlace place_;
};

// Arms timers; the clock by which they are due. Outlives its timers.
class Timers : public Clock {
public:
    // Runs work once on the pool after delay (at most ten years count). Does not block. Work without a delay is handed
    // to the pool at once. That, and work that is refused for want of a thread, which is logged, leaves no armed timer.
    Timer RunAfter(std::chrono::microseconds delay, Work work, ElasticPool& pool = ElasticPool::Shared());
    // Runs work once where due times are watched, on a thread that it must not block: for the pools' own upkeep. Else
    // as RunAfter.
    Timer CallAfter(std::chrono::microseconds delay, Work work);

    // This machine's. Live to the end of the process.
    static Timers& System();

protected:
    // pool: null where the work runs on the watching thread. A place of number 0 when there is no such thread.
    virtual DuePlace Arm(std::chrono::microseconds delay, Work work, ElasticPool* pool) = 0;
    // Whether the work was still to come.
    virtual bool Cancel(const DuePlace& place) = 0;

private:
    friend class Timer;
    Timer Wrap(const DuePlace& place) { return place.number == 0 ? Timer() : Timer(*this, place); }
};

}  // namespace Vexo::Tasks
