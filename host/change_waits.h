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
        // Answers the caller if something has changed. If mustAnswer is true, answers in any case. Returns true if it
        // answered. ChangeWaits calls this function on any thread, also inside Add, but never on two threads at once.
        // After the function returned true, it is not called again. It must not block.
        std::function<bool(bool mustAnswer)> answer;
        // Blocks until the state differs from the state that this caller knows, or until the duration limit has passed.
        std::function<void(std::chrono::milliseconds limit)> block;
    };

    static std::shared_ptr<ChangeWaits> Make();

    // Answers the waiter at once if something has changed already. Otherwise answers it at the next change, or when
    // limit has passed.
    void Add(Waiter waiter, std::chrono::milliseconds limit) EXCLUDES(mutex_);

    // Describes a value with a revision. The object that owns the value also owns mutex and changed. Both must be valid
    // as long as the function read exists.
    template <typename Value>
    struct Source {
        Mutex* mutex;
        CondVar* changed;             // notified with each change
        std::function<Value()> read;  // called while mutex is locked; keeps the owner of the value alive
    };
    // Calls answer with the value as soon as its revision differs from the parameter revision, or when limit has
    // passed.
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
