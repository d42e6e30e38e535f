// Timers: the one source of delays of the platform. A thread that sleeps until the next deadline (not at all while
// there is none) posts the work to a pool. Any thread may arm and cancel.
#pragma once

#include <chrono>
#include <cstdint>

#include "platform/tasks/elastic_pool.h"

namespace Vexo::Tasks {

using TimerId = uint64_t;  // 0 names no timer

// Runs work once on the pool after delay (steady clock; at most ten years count). Does not block. Work without a delay
// is handed to the pool at once and has no timer: 0. So has work that is refused for want of a thread, which is logged.
TimerId RunAfter(std::chrono::microseconds delay, Work work, ElasticPool& pool = ElasticPool::Shared());

// Runs work once on the timer thread itself, where it must not block: for the pools' own upkeep. Else as RunAfter.
TimerId CallAfter(std::chrono::microseconds delay, Work work);

// True when the work had not been started or handed to its pool yet and will not run.
bool CancelTimer(TimerId id);

}  // namespace Vexo::Tasks
