#include "host/memory.h"

#include <malloc.h>

namespace Vexo::Host {

void SetUpHeap()
{
    mallopt(M_ARENA_MAX, 1);
    mallopt(M_MMAP_THRESHOLD, 64 * 1024);
}

std::shared_ptr<IdleMemory> IdleMemory::Make(Tasks::Timers& timers)
{
    return std::shared_ptr<IdleMemory>(new IdleMemory(timers));
}

void IdleMemory::MarkActive()
{
    last_ = timers_.Now();
    if (!armed_.exchange(true)) {
        Arm(QUIET);
    }
}

void IdleMemory::Arm(std::chrono::milliseconds delay)
{
    timers_.RunAfter(delay, [self = shared_from_this()] { self->ReleaseIfQuiet(); }).Detach();
}

void IdleMemory::ReleaseIfQuiet()
{
    // Clear armed_ before last_ is read, so that a MarkActive after the read starts the timer again.
    armed_ = false;
    const auto passed = timers_.Now() - last_.load();
    if (passed >= QUIET) {
        malloc_trim(0);
    } else if (!armed_.exchange(true)) {
        Arm(std::chrono::ceil<std::chrono::milliseconds>(QUIET - passed));
    }
}

}  // namespace Vexo::Host
