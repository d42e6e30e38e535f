// ElasticPool: worker threads for work that may block for minutes. A thread is added whenever all are busy, and ends
// after it was idle for 10 s. At the thread limit work is queued, with one warning. An idle pool without threads makes
// no wake-ups. Strand: runs the work posted to it in order, one at a time, on a pool. Used by the task runtime
// (ffrt.h), for callbacks and for loading abilities. Any thread may post.
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

// Runs the work on a new thread. Returns false if the system refuses a thread; the work then never runs.
using ThreadStarter = std::function<bool(Work run)>;
bool StartDetachedThread(Work run);

class ElasticPool : public NoCopyable {
public:
    // name: the name of the threads, of which the system shows at most 15 bytes. startThread is called by Post, on any
    // thread.
    explicit ElasticPool(const std::string& name, size_t maxThreads = MAX_POOL_THREADS,
                         ThreadStarter startThread = StartDetachedThread);
    // Blocks until the queued work and the running work have ended and all threads are gone.
    ~ElasticPool();

    // Blocks only while the system starts a thread. Returns false if the work will not run: it is empty, the queue is
    // full, or the system refuses even the first thread. If the system refuses a further thread, the work waits for a
    // worker, and the next Post tries again. Exceptions from the work are caught and logged.
    //
    // finished (optional) runs on the same thread after the work, when the worker counts as idle again. Use it to wake
    // a thread that waits for the work: what that thread posts next finds an idle worker. finished must neither block
    // nor throw.
    bool Post(Work work, Work finished = nullptr);

    size_t ThreadCount() const;
    size_t QueuedCount() const;

    // The pool shared by strands and helpers of the platform. Never destroyed.
    static ElasticPool& Shared();

private:
    class State;
    std::shared_ptr<State> state_;
};

// Runs posted work in posting order, one at a time. Work that is queued when the strand is destroyed still runs.
class Strand : public NoCopyable {
public:
    explicit Strand(ElasticPool& pool = ElasticPool::Shared());
    ~Strand();

    // Like ElasticPool::Post.
    bool Post(Work work);
    // Blocks until all work posted before has run. Must not be called by work of this strand.
    void Drain();
    bool RunsOnThisThread() const;

private:
    class State;
    std::shared_ptr<State> state_;
};

}  // namespace Vexo::Tasks
