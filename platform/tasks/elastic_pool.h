// ElasticPool: worker threads for work that may block for minutes. When all threads are busy, the pool starts a further
// thread. A thread ends after it was idle for 10 s. A pool that has reached its thread limit queues the work and logs
// one warning. A pool without threads causes no wake-ups of the processor. Strand: runs the work posted to it on a
// pool, in order and one at a time. The task runtime (ffrt.h) uses a pool. Callbacks and the loading of abilities
// (service objects) use strands. Any thread may post.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "platform/base/nocopyable.h"

namespace Vexo::Tasks {

inline constexpr size_t MAX_POOL_THREADS = 256;
inline constexpr size_t MAX_POOL_QUEUE = 65536;  // the most work that may wait for a thread; Post refuses more
inline constexpr std::chrono::seconds POOL_THREAD_IDLE_LIMIT{10};

using Work = std::function<void()>;

// A function that runs the work on a new thread. Returns false if the system refuses a thread. The work then never
// runs.
using ThreadStarter = std::function<bool(Work run)>;
bool StartDetachedThread(Work run);

class ElasticPool : public NoCopyable {
public:
    // name: the name of the pool's threads. The system shows at most 15 bytes of this name. startThread: starts a
    // thread; called on a thread that posts, or on a thread of the pool.
    explicit ElasticPool(const std::string& name, size_t maxThreads = MAX_POOL_THREADS,
                         ThreadStarter startThread = StartDetachedThread);
    // Blocks until the queued work and the running work have ended and all threads are gone.
    ~ElasticPool();

    // Runs the work on a thread of the pool. Blocks only while the system starts a thread. Returns false if the work
    // will not run: the work is empty, the queue is full, or the system refuses even the first thread. If the system
    // refuses a further thread, the work is queued, and the next Post tries again to start a thread. Exceptions from
    // the work are caught and logged.
    // finished: an optional function that runs after the work on the same thread. This function must not block or
    // throw. If no other work is queued, the worker already counts as idle when finished runs. Use finished to wake a
    // thread that waits for the work: the next work that the woken thread posts then finds an idle worker.
    bool Post(Work work, Work finished = nullptr);

    size_t ThreadCount() const;
    size_t QueuedCount() const;

    // Returns the pool on which strands and timers run their work by default. The pool is never destroyed.
    static ElasticPool& Shared();

private:
    class State;
    std::shared_ptr<State> state_;
};

// Runs posted work one at a time, in the order of the posts. Work that is queued when the strand is destroyed still
// runs.
class Strand : public NoCopyable {
public:
    explicit Strand(ElasticPool& pool = ElasticPool::Shared());
    ~Strand();

    // Queues the work. Returns false if the pool refuses the work (ElasticPool::Post).
    bool Post(Work work);
    // Blocks until all work has run that was posted before this call. Work of this strand must not call Drain, because
    // the call would never return.
    void Drain();
    bool RunsOnThisThread() const;

private:
    class State;
    std::shared_ptr<State> state_;
};

}  // namespace Vexo::Tasks
