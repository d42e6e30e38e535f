#include "platform/eventloop/event_queue.h"

#include <optional>
#include <utility>
#include <vector>

#include "platform/base/check.h"
#include "platform/dfx/guard.h"

namespace Vexo::AppExecFwk {

namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "EventLoop"};

std::string NameOf(const EventQueue::Entry& entry)
{
    const Caller& caller = entry.caller;
    return "event " + entry.taskName + " of " + caller.file + ":" + std::to_string(caller.line) + " (" +
           caller.function + ")";
}

// Returns the due time in whole milliseconds, so that events that are due in the same millisecond are ordered by
// priority. With a delay, rounds up, so that no event runs early. Without one, rounds down: the event is due at once.
SteadyTime WholeDueAfter(std::chrono::milliseconds delay)
{
    using std::chrono::milliseconds;
    const SteadyTime now = Clock::System().Now();
    return delay.count() == 0 ? std::chrono::floor<milliseconds>(now)
                              : std::chrono::ceil<milliseconds>(Tasks::DueAfter(now, delay));
}

}  // namespace

void EventQueue::Add(std::chrono::milliseconds delay, uint32_t priority, Entry entry)
{
    const MutexLock lock(mutex_);
    if (!stopped_) {
        entries_.Add(WholeDueAfter(delay), std::move(entry), priority);
        changed_.NotifyAll();
    }
}

void EventQueue::Remove(uint64_t owner, const std::string& taskName)
{
    std::vector<Entry> removed;  // destroyed after the lock is released
    const MutexLock lock(mutex_);
    removed = entries_.RemoveIf([&](const Entry& entry) { return entry.owner == owner && entry.taskName == taskName; });
}

void EventQueue::Run()
{
    MutexLock lock(mutex_);
    DISTNET_ASSERT(thread_ == std::thread::id(), "one thread delivers the events of a queue");
    thread_ = std::this_thread::get_id();
    while (!stopped_) {
        if (std::optional<Entry> entry = entries_.TakeDue(Clock::System().Now())) {
            lock.Unlock();
            QuviewDFX::RunGuarded(
                LABEL, [&] { return NameOf(*entry); }, entry->deliver);
            entry.reset();
            lock.Lock();
        } else if (const std::optional<SteadyTime> next = entries_.NextDue()) {
            changed_.WaitUntil(mutex_, *next);
        } else {
            changed_.Wait(mutex_);
        }
    }
    ended_ = true;
    changed_.NotifyAll();
}

void EventQueue::Stop()
{
    std::vector<Entry> dropped;  // destroyed after the lock is released
    const MutexLock lock(mutex_);
    stopped_ = true;
    dropped = entries_.RemoveIf([](const Entry&) { return true; });
    changed_.NotifyAll();
    while (!ended_ && thread_ != std::this_thread::get_id()) {
        changed_.Wait(mutex_);
    }
}

}  // namespace Vexo::AppExecFwk
