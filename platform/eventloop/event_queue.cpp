#include "platform/eventloop/event_queue.h"

#include <exception>
#include <optional>
#include <utility>
#include <vector>

#include "platform/dfx/log.h"

namespace Vexo::AppExecFwk {

namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "EventLoop"};

void LogEnd(const EventQueue::Entry& entry, const char* exception)
{
    QuviewDFX::LogError(LABEL,
                        "event %{public}s of %{public}s:%{public}d (%{public}s) ended by an exception: %{public}s",
                        entry.taskName, entry.caller.file, entry.caller.line, entry.caller.function, exception);
}

void DeliverGuarded(const EventQueue::Entry& entry)
{
    try {
        entry.deliver();
    } catch (const std::exception& exception) {
        LogEnd(entry, exception.what());
    } catch (...) {
        LogEnd(entry, "of unknown type");
    }
}

// Due times are whole milliseconds, never early, so that priorities decide among what comes together.
Tasks::SteadyTime WholeDueAfter(std::chrono::milliseconds delay)
{
    using std::chrono::milliseconds;
    const Tasks::SteadyTime now = std::chrono::steady_clock::now();
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
    std::vector<Entry> removed;  // what the tasks hold is released after the lock
    const MutexLock lock(mutex_);
    removed = entries_.RemoveIf([&](const Entry& entry) { return entry.owner == owner && entry.taskName == taskName; });
}

void EventQueue::Run()
{
    MutexLock lock(mutex_);
    thread_ = std::this_thread::get_id();
    while (!stopped_) {
        if (std::optional<Entry> entry = entries_.TakeDue(std::chrono::steady_clock::now())) {
            lock.Unlock();
            DeliverGuarded(*entry);
            entry.reset();
            lock.Lock();
        } else if (const std::optional<Tasks::SteadyTime> next = entries_.NextDue()) {
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
    std::vector<Entry> dropped;  // as in Remove
    const MutexLock lock(mutex_);
    stopped_ = true;
    dropped = entries_.RemoveIf([](const Entry&) { return true; });
    changed_.NotifyAll();
    while (!ended_ && thread_ != std::this_thread::get_id()) {
        changed_.Wait(mutex_);
    }
}

}  // namespace Vexo::AppExecFwk
