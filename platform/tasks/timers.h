// Timers: run work after a delay. One thread sleeps until the next timer is due, and then passes the timer's work to a
// pool or runs short work itself (CallAfter). The thread never wakes up while no timer is armed. Destroying a Timer
// object cancels the timer. Any thread may start a timer. A Timer object is used by one thread at a time.
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

    // Cancels the timer, which is then not armed. Returns true if the work will not run. Returns false if the timer was
    // not armed, or if the work was passed to its pool or has started. Does not wait for running work.
    bool Cancel() noexcept;
    // Separates the work from this object, so that the work runs even if the object is destroyed first.
    void Detach() noexcept { timers_ = nullptr; }
    // Returns true from the start of the timer until Cancel or Detach, even after the work has run.
    bool IsArmed() const noexcept { return timers_ != nullptr; }

private:
    friend class Timers;
    Timer(Timers& timers, const DuePlace& place) : timers_(&timers), place_(place) {}

    Timers* timers_ = nullptr;
    DuePlace place_;
};

// Starts timers, and is the clock that decides when they are due. Must outlive its timers.
class Timers : public Clock {
public:
    // Posts the work to the pool after the delay. Does not wait for running work. A delay of more than ten years counts
    // as ten years. With a delay of 0 or less, the work is posted at once, and the returned timer is not armed. If the
    // pool refuses the work or the timer thread cannot be started, the work is lost and an error is logged.
    Timer RunAfter(std::chrono::microseconds delay, Work work, ElasticPool& pool = ElasticPool::Shared());
    // Runs the work on the timer thread after the delay. The work must not block. Use this function for short upkeep,
    // such as that of the pools. If the timer thread cannot be started, the work is lost, an error is logged, and the
    // returned timer is not armed.
    Timer CallAfter(std::chrono::microseconds delay, Work work);

    // Returns the timers that use this machine's clock. They are never destroyed.
    static Timers& System();

protected:
    // Starts a timer and returns its place in the queue. Returns a place with number 0 if the timer thread cannot be
    // started. pool: null if the work runs on the timer thread.
    virtual DuePlace Arm(std::chrono::microseconds delay, Work work, ElasticPool* pool) = 0;
    // Removes the timer at this place. Returns true if its work had neither started nor been passed to its pool.
    virtual bool Cancel(const DuePlace& place) = 0;

private:
    friend class Timer;
    Timer Wrap(const DuePlace& place) { return place.number == 0 ? Timer() : Timer(*this, place); }
};

}  // namespace Vexo::Tasks
