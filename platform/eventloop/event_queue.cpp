#include "platform/eventloop/event_queue.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "platform/dfx/log.h"

namespace Vexo::AppExecFwk {

namespace {

constexpr std::chrono::hours LONGEST_DELAY{24 * 365 * 10};  // a longer one could overflow the clock

void DeliverGuarded(const EventQueue::Deliver& deliver, const std::string& taskName)
{
    constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "EventLoop"};
    try {
        deliver();
    } catch (const std::exception& exception) {
        QuviewDFX::LogError(LABEL, "event %{public}s ended by an exception: %{public}s", taskName, exception.what());
    } catch (...) {
        QuviewDFX::LogError(LABEL, "event %{public}s ended by an exception of unknown type", taskName);
    }
}

// Due times are whole milliseconds, never early, so that priorities decide among what comes together.
EventQueue::Clock::time_point DueAfter(std::chrono::milliseconds delay)
{
    const EventQueue::Clock::time_point now = EventQueue::Clock::now();
    return delay.count() == 0 ? std::chrono::floor<std::chrono::milliseconds>(now)
                              : std::chrono::ceil<std::chrono::milliseconds>(
                                    now + std::min<std::chrono::milliseconds>(delay, LONGEST_DELAY));
}

}  // namespace

void EventQueue::Add(std::chrono::milliseconds delay, uint32_t priority, uint64_t owner, std::string taskName,
                     Deliver deliver)
{
    const MutexLock lock(mutex_);
    if (!stopped_) {
        entries_.emplace(Place{DueAfter(delay), priority, ++posted_},
                         Entry{owner, std::move(taskName), std::move(deliver)});
        changed_.NotifyAll();
    }
}

void EventQueue::Remove(uint64_t owner, const std::string& taskName)
{
    std::map<Place, Entry> removed;  // what the tasks hold is released after the lock
    const MutexLock lock(mutex_);
    for (auto it = entries_.begin(); it != entries_.end();) {
        const auto next = std::next(it);
        if (it->second.owner == owner && it->second.taskName == taskName) {
            removed.insert(entries_.extract(it));
        }
        it = next;
    }
}

void EventQueue::Run()
{
    MutexLock lock(mutex_);
    thread_ = std::this_thread::get_id();
    while (!stopped_) {
        if (entries_.empty()) {
            changed_.Wait(mutex_);
            continue;
        }
        const Clock::time_point due = std::get<0>(entries_.begin()->first);
        if (due > Clock::now()) {
            changed_.WaitUntil(mutex_, due);
            continue;
        }
        Entry entry = std::move(entries_.begin()->second);
        entries_.erase(entries_.begin());
        lock.Unlock();
        DeliverGuarded(entry.deliver, entry.taskName);
        entry.deliver = nullptr;
        lock.Lock();
    }
    ended_ = true;
    changed_.NotifyAll();
}

void EventQueue::Stop()
{
    std::map<Place, Entry> dropped;
    const MutexLock lock(mutex_);
    stopped_ = true;
    dropped.swap(entries_);
    changed_.NotifyAll();
    while (!ended_ && thread_ != std::this_thread::get_id()) {
        changed_.Wait(mutex_);
    }
}

bool EventQueue::IsCurrentThread()
{
    const MutexLock lock(mutex_);
    return thread_ == std::this_thread::get_id();
}

}  // namespace Vexo::AppExecFwk
