// EventQueue: the events of one runner, in the order in which they are due. The runner and the runner's thread share
// the queue. Thread-safe.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>

#include "platform/base/mutex.h"
#include "platform/eventloop/inner_event.h"
#include "platform/tasks/due_queue.h"

namespace Vexo::AppExecFwk {

class EventQueue {
public:
    using Deliver = std::function<void()>;

    struct Entry {
        uint64_t owner;        // identifies the handler that posted the event
        std::string taskName;  // empty for a numeric event
        Caller caller;
        Deliver deliver;
    };

    // Adds an entry to the queue. Run delivers the entry once, after the delay, unless Remove has removed the entry.
    // After Stop, Add drops the entry.
    void Add(std::chrono::milliseconds delay, uint32_t priority, Entry entry);
    void Remove(uint64_t owner, const std::string& taskName);

    // Delivers events until Stop is called. Call Run once, on the runner's thread.
    void Run();
    // Drops the queued events. Blocks until Run has returned. Does not block if an event calls Stop on the runner's
    // thread.
    void Stop();

private:
    Mutex mutex_;
    CondVar changed_;
    Tasks::DueQueue<Entry> entries_ GUARDED_BY(mutex_);
    bool stopped_ GUARDED_BY(mutex_) = false;
    bool ended_ GUARDED_BY(mutex_) = false;
    std::thread::id thread_ GUARDED_BY(mutex_);
};

}  // namespace Vexo::AppExecFwk
