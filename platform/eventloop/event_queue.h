// EventQueue: the events of one runner, in the order in which they are due. Shared by the runner and its thread; any
// thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <tuple>

#include "platform/base/mutex.h"
#include "platform/eventloop/inner_event.h"

namespace Vexo::AppExecFwk {

class EventQueue {
public:
    using Clock = std::chrono::steady_clock;
    using Deliver = std::function<void()>;

    // taskName is empty for a numeric event. deliver runs once on the runner's thread, unless it is removed before.
    void Add(std::chrono::milliseconds delay, uint32_t priority, uint64_t owner, std::string taskName, Deliver deliver);
    void Remove(uint64_t owner, const std::string& taskName);

    // Delivers until Stop; the runner's thread.
    void Run();
    // Drops what is queued and waits for the event that runs, unless called from it.
    void Stop();
    bool IsCurrentThread();

private:
    using Place = std::tuple<Clock::time_point, uint32_t, uint64_t>;  // due, priority, order of posting
    struct Entry {
        uint64_t owner;
        std::string taskName;
        Deliver deliver;
    };

    Mutex mutex_;
    CondVar changed_;
    std::map<Place, Entry> entries_ GUARDED_BY(mutex_);
    uint64_t posted_ GUARDED_BY(mutex_) = 0;
    bool stopped_ GUARDED_BY(mutex_) = false;
    bool ended_ GUARDED_BY(mutex_) = false;
    std::thread::id thread_ GUARDED_BY(mutex_);
};

}  // namespace Vexo::AppExecFwk
