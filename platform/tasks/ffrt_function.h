// The callable that a submission handed over, and how the runtime runs it. Used by ffrt*.cpp only.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "platform/tasks/elastic_pool.h"
#include "platform/tasks/ffrt.h"

struct ffrt_function_t {
    ffrt_function_t(std::function<void()> function, ffrt_function_kind_t functionKind)
        : callable(std::move(function)), kind(functionKind)
    {
    }

    // Invokes the callable; an exception that it lets out is logged with the task's name and ends there.
    void Run(const std::string& taskName) const;

    const std::function<void()> callable;
    const ffrt_function_kind_t kind;
};

// Runs a task's function on this thread in a waiting context of its own, and destroys it.
void RunTaskFunction(std::unique_ptr<ffrt_function_t> function, const std::string& name);

// The pool that tasks run on.
Vexo::Tasks::ElasticPool& RuntimePool();
