#include "host/memory.h"

#include <malloc.h>

#include "platform/tasks/timers.h"

namespace Vexo::Host {

void ShareOneHeap()
{
    mallopt(M_ARENA_MAX, 1);
}

std::shared_ptr<IdleMemory> IdleMemory::Make(std::chrono::milliseconds quiet)
{
    return std::shared_ptr<IdleMemory>(new IdleMemory(quiet));
}

void IdleMemory::Note()
{
    last_ = std::chrono::steady_clock::now();
    if (!armed_.exchange(true)) {
        Arm(quiet_);
    }
}

void IdleMemory::Arm(std::chrono::milliseconds delay)
{
    Tasks::Timers::System().RunAfter(delay, [self = shared_from_this()] { self->ReleaseIfQuiet(); }).Detach();
}

void IdleMemory::ReleaseIfQuiet()
{
    // Disarmed before the look at the time: what happens from here on arms anew.
    armed_ = false;
    const auto passed = std::chrono::steady_clock::now() - last_.load();
    if (passed >= quiet_) {
        malloc_trim(0);
    } else if (!armed_.exchange(true)) {
        Arm(std::chrono::ceil<std::chrono::milliseconds>(quiet_ - passed));
    }
}

}  // namespace Vexo::Host
