// Timers: the only source of delays in the platform. One thread sleeps until the next timer is due and then passes the
// work to a pool; without timers it never wakes up. A Timer is an object whose destruction cancels it. Any thread may
// start a timer; a Timer object is used by one thread at a time.
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

    // Returns true if the work will not run, because it had not been passed to its pool or started. Does not wait for
    // work that runs. Afterwards the timer is not armed.
    bool Cancel() noexcept;
    // Separates the work from this object: the work runs even if the object is destroyed first.
    void Detach() noexcept { timers_ = nullptr; }
    // True from the start of the timer until Cancel or Detach, even after the work has run.
    bool IsArmed() const noexcept { return timers_ != nullptr; }

private:
    friend class Timers;
    Timer(Timers& timers, const DuePlace& place) : timers_(&timers), place_(place) {}

    Timers* timers_ = nullptr;
    DuePlace place_;
};

// Starts timers. It is also the clock by which they are due. Must outlive its timers.
class Timers : public Clock {
public:
    // Runs work once on the pool, after delay (at most ten years). Does not block. Without a delay the work is posted
    // to the pool at once, and the returned timer is not armed. Work is lost, with a log line, if the pool refuses it
    // or the timer thread cannot be started.
    Timer RunAfter(std::chrono::microseconds delay, Work work, ElasticPool& pool = ElasticPool::Shared());
    // Runs work once after delay on the timer thread, which the work must not block. For short upkeep, such as that of
    // the pools. If the timer thread cannot be started, the work is lost, with a log line, and the returned timer is
    // not armed.
    Timer CallAfter(std::chrono::microseconds delay, Work work);

    // The timers of this machine. Never destroyed.
    static Timers& System();

protected:
    // pool: null if the work runs on the timer thread. Returns a place with number 0 if there is no timer thread.
    virtual DuePlace Arm(std::chrono::microseconds delay, Work work, ElasticPool* pool) = 0;
    // Returns true if the work had not started.
    virtual bool Cancel(const DuePlace& place) = 0;

private:
    friend class Timer;
    Timer Wrap(const DuePlace& place) { return place.number == 0 ? Timer() : Timer(*this, place); }
};

}  // namespace Vexo::Tasks
