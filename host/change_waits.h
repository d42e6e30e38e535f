// ChangeWaits: lets many callers wait for the same change without one thread each. While there are waiters, one thread
// of the shared pool waits for all of them, and each waiter has a timer for its limit. Any thread may call Add, which
// does not block.
#pragma once

#include <chrono>
#include <functional>
#include <list>
#include <memory>
#include <utility>

#include "platform/base/clock.h"
#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"
#include "platform/tasks/timers.h"

namespace Vexo::Host {

class ChangeWaits : public NoCopyable, public std::enable_shared_from_this<ChangeWaits> {
public:
    struct Waiter {
        // Answers the caller if the state differs from the state that the caller knows, or in any case if mustAnswer is
        // true. Returns true if the function has answered. ChangeWaits calls the function on any thread, also inside
        // Add, but never on two threads at once, and not again after it returned true. The function must not block.
        std::function<bool(bool mustAnswer)> answer;
        // Blocks until the state differs from the state that the waiting caller knows, or until the time limit has
        // passed.
        std::function<void(std::chrono::milliseconds limit)> block;
    };

    static std::shared_ptr<ChangeWaits> Make();

    // Answers the waiter as soon as the state differs from the state that the waiter knows, or after the time limit. If
    // the state differs already, answers before Add returns.
    void Add(Waiter waiter, std::chrono::milliseconds limit) EXCLUDES(mutex_);

    // Describes a value that has a revision number. `mutex` and `changed` point into the object that owns the value,
    // and must stay valid as long as a copy of `read` exists.
    template <typename Value>
    struct Source {
        Mutex* mutex;
        CondVar* changed;             // notified with each change
        std::function<Value()> read;  // called while mutex is locked; keeps the owner of the value alive
    };
    // Answers with the value as soon as the value's revision differs from the given revision, or after the time limit.
    template <typename Value>
    void AddForRevision(Source<Value> source, uint32_t revision, std::chrono::milliseconds limit,
                        std::function<void(const Value&)> answer);

private:
    struct Entry {
        Waiter waiter;
        SteadyTime deadline;
        Tasks::Timer timer;  // guarded by ChangeWaits::mutex_
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

template <typename Value>
void ChangeWaits::AddForRevision(Source<Value> source, uint32_t revision, std::chrono::milliseconds limit,
                                 std::function<void(const Value&)> answer)
{
    const auto answerNow = [source, revision, answer = std::move(answer)](bool mustAnswer) {
        MutexLock lock(*source.mutex);
        const Value now = source.read();
        lock.Unlock();
        if (!mustAnswer && now.revision == revision) {
            return false;
        }
        answer(now);
        return true;
    };
    const auto block = [source, revision](std::chrono::milliseconds left) {
        const SteadyTime deadline = Clock::System().Now() + left;
        const MutexLock lock(*source.mutex);
        while (source.read().revision == revision && source.changed->WaitUntil(*source.mutex, deadline)) {
        }
    };
    Add({answerNow, block}, limit);
}

}  // namespace Vexo::Host
