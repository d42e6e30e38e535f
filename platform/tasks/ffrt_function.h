// The callable that a submission handed over, and how the runtime runs it. Used by ffrt*.cpp only.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "platform/tasks/elastic_pool.h"
#include "platform/tasks/ffrt.h"

class WaitContext;  // what ffrt_wait waits for; see ffrt.cpp

// One allocation holds all that a submission needs, since it is on the path of every request.
struct ffrt_function_t {
    explicit ffrt_function_t(std::function<void()> function) : callable(std::move(function)) {}

    // Invokes the callable in a waiting context of its own, and destroys it. An exception that it lets out is logged
    // with the task's name and ends there.
    void Run();

    std::function<void()> callable;
    std::string name;
    std::shared_ptr<WaitContext> context;  // of the submitter; empty when nothing waits for the task
};

// The pool that tasks run on.
Vexo::Tasks::ElasticPool& RuntimePool();
