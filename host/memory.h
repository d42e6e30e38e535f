// The daemon's heap: one for all threads, trimmed when the daemon has gone quiet. Any thread.
#pragma once

#include <atomic>
#include <chrono>
#include <memory>

#include "platform/base/nocopyable.h"
#include "platform/tasks/timers.h"

namespace Vexo::Host {

// Before any other thread exists: threads share one heap. They are mostly asleep, and a heap of its own for each would
// only hold memory.
void ShareOneHeap();

// Returns free heap pages to the system once, each time nothing has happened for QUIET after something did. Costs an
// idle daemon nothing: a timer runs only between the two.
class IdleMemory : public NoCopyable, public std::enable_shared_from_this<IdleMemory> {
public:
    static constexpr std::chrono::seconds QUIET{3};

    static std::shared_ptr<IdleMemory> Make(Tasks::Timers& timers = Tasks::Timers::System());
    // Something happened. Does not block.
    void Note();

private:
    explicit IdleMemory(Tasks::Timers& timers) : timers_(timers) {}
    void Arm(std::chrono::milliseconds delay);
    void ReleaseIfQuiet();

    Tasks::Timers& timers_;
    std::atomic<SteadyTime> last_{};
    std::atomic<bool> armed_{false};
};

}  // namespace Vexo::Host
