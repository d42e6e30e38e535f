// ElasticPool: worker threads for work that may block for minutes. It grows whenever every worker is busy, shrinks
// after a worker has idled for 10 s, and queues only beyond its thread limit, with one warning. An idle pool without
// workers makes no wake-ups. Strand: runs what is posted to it in order, one at a time, on a pool. Used by the task
// runtime (ffrt.h), by the session and status callbacks, by loading. Any thread may post.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "platform/base/nocopyable.h"

namespace Vexo::Tasks {

inline constexpr size_t MAX_POOL_THREADS = 256;
inline constexpr size_t MAX_POOL_QUEUE = 65536;  // work that waits for a thread; beyond it a post is refused
inline constexpr std::chrono::seconds POOL_THREAD_IDLE_LIMIT{10};

using Work = std::function<void()>;

// Runs the work on a new thread; false when the system refuses one, and then the work never runs.
using ThreadStarter = std::function<bool(Work run)>;
bool StartDetachedThread(Work run);

class ElasticPool : public NoCopyable {
public:
    // name labels the threads (at most 15 bytes are shown by the system). startThread is called by Post, on any thread.
    explicit ElasticPool(const std::string& name, size_t maxThreads = MAX_POOL_THREADS,
                         ThreadStarter startThread = StartDetachedThread);
    // Runs the queued work, then joins the threads, so work that blocks also blocks the destructor.
    ~ElasticPool();

    // Blocks no longer than the system takes to give or refuse a thread. False when the work will not run: it is empty,
    // the queue is full, or the system refuses even the first thread. A thread refused later makes the work wait for a
    // worker, and the next post asks again. An exception that leaves the work is logged and ends there.
    //
    // finished, when given, runs on the same thread once the work has ended and its worker is free again: the place to
    // wake whoever waits for the work, so that what the woken thread posts next finds that worker. It must neither
    // block nor throw.
    bool Post(Work work, Work finished = nullptr);

    size_t ThreadCount() const;
    size_t QueuedCount() const;

    // The pool shared by strands and helpers of the platform; lives to the end of the process.
    static ElasticPool& Shared();

private:
    class State;
    std::shared_ptr<State> state_;
};

// Work posted to a strand runs in posting order, never two at a time. Destroying the strand lets queued work run.
class Strand : public NoCopyable {
public:
    explicit Strand(ElasticPool& pool = ElasticPool::Shared());
    ~Strand();

    // As ElasticPool::Post.
    bool Post(Work work);
    // Blocks until everything posted before has run. Not from work of this strand.
    void Drain();
    bool RunsOnThisThread() const;

private:
    class State;
    std::shared_ptr<State> state_;
};

}  // namespace Vexo::Tasks
