// A submitted callable, and how the runtime runs it. Used by ffrt*.cpp only.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "platform/tasks/elastic_pool.h"
#include "platform/tasks/ffrt.h"

class WaitContext;  // the tasks that ffrt_wait waits for; see ffrt.cpp

// All data of one submission, in one allocation, because every request submits tasks.
struct ffrt_function_t {
    explicit ffrt_function_t(std::function<void()> function) : callable(std::move(function)) {}

    // Invokes the callable with a WaitContext of its own, then destroys it. An exception from the callable is caught
    // and logged with the task's name.
    void Run();

    std::function<void()> callable;
    std::string name;
    std::shared_ptr<WaitContext> context;  // the submitter's; null if ffrt_wait does not wait for the task
};

// The pool that tasks run on.
Vexo::Tasks::ElasticPool& RuntimePool();
