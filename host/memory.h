// Keeps the daemon's memory small: one heap for all threads, which is trimmed when the daemon becomes idle. Any thread
// may use it.
#pragma once

#include <atomic>
#include <chrono>
#include <memory>

#include "platform/base/nocopyable.h"
#include "platform/tasks/timers.h"

namespace Vexo::Host {

// Makes all threads share one heap: most threads sleep, and a heap for each would only use memory. Also keeps large
// blocks out of the heap, so that they leave no gaps when they are freed (mallopt(3), M_MMAP_THRESHOLD: without a fixed
// threshold, malloc raises it after the first large block). Call before any other thread exists.
void SetUpHeap();

// Returns free heap pages to the system when MarkActive was not called for the duration QUIET. Does this once after
// each period of activity. No timer runs after that, so an idle daemon is not woken.
class IdleMemory : public NoCopyable, public std::enable_shared_from_this<IdleMemory> {
public:
    static constexpr std::chrono::seconds QUIET{3};

    static std::shared_ptr<IdleMemory> Make(Tasks::Timers& timers = Tasks::Timers::System());
    // Records that the daemon has just done some work. Does not block.
    void MarkActive();

private:
    explicit IdleMemory(Tasks::Timers& timers) : timers_(timers) {}
    void Arm(std::chrono::milliseconds delay);
    void ReleaseIfQuiet();

    Tasks::Timers& timers_;
    std::atomic<SteadyTime> last_{};
    std::atomic<bool> armed_{false};
};

}  // namespace Vexo::Host
