#include "host/change_waits.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "platform/tasks/elastic_pool.h"

namespace Vexo::Host {

std::shared_ptr<ChangeWaits> ChangeWaits::Make()
{
    return std::shared_ptr<ChangeWaits>(new ChangeWaits);
}

void ChangeWaits::Add(Waiter waiter, std::chrono::milliseconds limit)
{
    const auto entry = std::make_shared<Entry>();
    entry->waiter = std::move(waiter);
    entry->deadline = Clock::System().Now() + limit;
    if (Answer(*entry, limit.count() <= 0)) {
        return;
    }
    MutexLock lock(mutex_);
    entries_.push_back(entry);
    // The timer is set while mutex_ is locked. Remove locks mutex_ too, so it always finds the timer in the entry.
    entry->timer = Tasks::Timers::System().RunAfter(limit, [self = shared_from_this(), entry] {
        Answer(*entry, true);
        self->Remove(entry);
    });
    isWatched_ = isWatched_ || Tasks::ElasticPool::Shared().Post([self = shared_from_this()] { self->Watch(); });
    const bool isServed = isWatched_ && entry->timer.IsArmed();
    lock.Unlock();
    if (!isServed) {
        Answer(*entry, true);  // no thread or no timer is available for the wait
        Remove(entry);
    }
}

bool ChangeWaits::Answer(Entry& entry, bool mustAnswer)
{
    const MutexLock lock(entry.mutex);
    entry.isAnswered = entry.isAnswered || entry.waiter.answer(mustAnswer);
    return entry.isAnswered;
}

// All waiters wait for changes of the same state. So this thread blocks on behalf of the first waiter. When that wait
// ends, all waiters check the state.
void ChangeWaits::Watch()
{
    MutexLock lock(mutex_);
    while (!entries_.empty()) {
        const std::shared_ptr<Entry> first = entries_.front();
        lock.Unlock();
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(first->deadline - Clock::System().Now());
        first->waiter.block(std::max(left, std::chrono::milliseconds(0)));
        Answer(*first, true);
        lock.Lock();
        const std::vector<std::shared_ptr<Entry>> all(entries_.begin(), entries_.end());
        lock.Unlock();
        for (const auto& entry : all) {
            if (Answer(*entry, false)) {
                Remove(entry);
            }
        }
        lock.Lock();
    }
    isWatched_ = false;
}

void ChangeWaits::Remove(const std::shared_ptr<Entry>& entry)
{
    Tasks::Timer timer;
    {
        const MutexLock lock(mutex_);
        entries_.remove(entry);
        timer = std::move(entry->timer);
    }
    timer.Cancel();
}

}  // namespace Vexo::Host
