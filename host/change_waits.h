// ChangeWaits: callers that wait for the same thing to change, without a thread for each: one thread of the shared pool
// waits for all of them, while there are any. Timers end what has waited long enough. Any thread; Add does not block.
#pragma once

#include <chrono>
#include <functional>
#include <list>
#include <memory>

#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"
#include "platform/tasks/timers.h"

namespace Vexo::Host {

class ChangeWaits : public NoCopyable, public std::enable_shared_from_this<ChangeWaits> {
public:
    struct Waiter {
        // Answers when there is something to say, and when it must; returns whether it did. It is called one call at a
        // time, until it has answered; on any thread, also inside Add. It must not block.
        std::function<bool(bool mustAnswer)> answer;
        // Blocks until what this caller knows has changed, or the limit has passed.
        std::function<void(std::chrono::milliseconds limit)> block;
    };

    static std::shared_ptr<ChangeWaits> Make();

    // The caller has its answer at once, when something changes, or when the limit has passed.
    void Add(Waiter waiter, std::chrono::milliseconds limit) EXCLUDES(mutex_);

private:
    struct Entry {
        Waiter waiter;
        SteadyTime deadline;
        Tasks::Timer timer;  // under the list's lock
        Mutex mutex;
        bool isAnswered GUARDED_BY(mutex) = false;
    };

    ChangeWaits() = default;

    static bool Answer(Entry& entry, bool mustAnswer);
    void Watch() EXCLUDES(mutex_);
    void Remove(const std::shared_ptr<Entry>& entry) EXCLUDES(mutex_);

    Mutex mutex_;
    std::list<std::shared_ptr<Entry>> entries_ GUARDED_BY(mutex_);
    bool isWatched_ GUARDED_BY(mutex_) = false;
};

}  // namespace Vexo::Host
