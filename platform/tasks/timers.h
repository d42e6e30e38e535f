// Timers: the one source of delays of the platform. A thread that sleeps until the next deadline (not at all while
// there is none) posts the work to a pool. Any thread may arm and cancel.
#pragma once

#include <chrono>
#include <cstdint>

#include "platform/tasks/elastic_pool.h"

namespace Vexo::Tasks {

using TimerId = uint64_t;  // 0 names no timer

// Runs work once on the pool after delay (steady clock). Does not block.
TimerId RunAfter(std::chrono::microseconds delay, Work work, ElasticPool& pool = ElasticPool::Shared());

// True when the work had not been handed to the pool yet and will not run.
bool CancelTimer(TimerId id);

}  // namespace Vexo::Tasks
