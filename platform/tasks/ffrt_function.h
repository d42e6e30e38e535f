// ffrt_function_t: a callable that was submitted to the runtime. Used by ffrt*.cpp only.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "platform/tasks/elastic_pool.h"
#include "platform/tasks/ffrt.h"

class WaitContext;  // counts the tasks for which ffrt_wait waits; see ffrt.cpp

// The data of one submission, in one object: every request submits tasks, and should not spend time on more allocations
// than necessary.
struct ffrt_function_t {
    explicit ffrt_function_t(std::function<void()> function) : callable(std::move(function)) {}

    // Invokes and then destroys the callable. The callable runs with a new WaitContext, so that ffrt_wait in the
    // callable waits only for tasks that the callable submitted. An exception from the callable is caught and logged
    // with the task's name.
    void Run();

    std::function<void()> callable;
    std::string name;
    std::shared_ptr<WaitContext> context;  // of the submitter; null if ffrt_wait does not wait for the task
};

// Returns the pool whose threads run the tasks.
Vexo::Tasks::ElasticPool& RuntimePool();
