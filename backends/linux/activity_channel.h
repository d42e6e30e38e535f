// ActivityChannel: the base class of the announcement channels that use a daemon (bluetooth_channel.cpp,
// dns_sd_channel.cpp). Between Start and Withdraw, an object of the class Activity makes the announcements on its own
// strand. Timers may fire late and still use the activity, so a shared_ptr owns the activity. Any thread may call the
// channel. Withdraw blocks until Activity::Stop returns.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <utility>

#include "platform/base/mutex.h"
#include "platform/softbus/discovery/announcement_channel.h"
#include "platform/tasks/elastic_pool.h"
#include "platform/tasks/timers.h"

namespace Vexo::Linux {

// work: the member function of the activity that runs on the activity's strand after the pause. Nothing runs if the
// activity no longer exists by then. If the strand gets no thread, CallOnStrandAfter tries again every second.
// CallOnStrandAfter does not block. timers must outlive the activity.
template <typename Activity>
Tasks::Timer CallOnStrandAfter(Tasks::Timers& timers, std::chrono::milliseconds pause, std::weak_ptr<Activity> weak,
                               Tasks::Strand Activity::*strand, void (Activity::*work)())
{
    // Timers::RunAfter is not used here: if the pool has no thread, RunAfter drops the work and nothing retries.
    return timers.CallAfter(pause, [&timers, weak, strand, work] {
        const auto activity = weak.lock();
        if (activity && !((*activity).*strand).Post([activity, work] { ((*activity).*work)(); })) {
            CallOnStrandAfter(timers, std::chrono::seconds(1), weak, strand, work).Detach();
        }
    });
}

// Runs a function as the last work on the strand, and blocks until the function has returned. If the strand gets no
// thread, the calling thread runs the function. end: the function to run.
template <typename Work>
void EndOnStrand(Tasks::Strand& strand, const Work& end)
{
    const bool isPosted = strand.Post(end);
    strand.Drain();
    if (!isPosted) {
        end();
    }
}

template <typename Activity>
class ActivityChannel : public SoftBus::AnnouncementChannel {
public:
    ~ActivityChannel() override { ActivityChannel::Withdraw(); }

    void Announce(const std::string& token) override
    {
        const MutexLock lock(mutex_);
        if (activity_) {
            activity_->Announce(token);
        }
    }

    bool CanAnnounce() const override
    {
        const MutexLock lock(mutex_);
        return activity_ && activity_->CanAnnounce();
    }

    void Withdraw() override
    {
        if (const auto ended = Exchange(nullptr)) {
            ended->Stop();
        }
    }

protected:
    std::shared_ptr<Activity> Exchange(std::shared_ptr<Activity> next)
    {
        const MutexLock lock(mutex_);
        return std::exchange(activity_, std::move(next));
    }

    mutable Mutex mutex_;
    std::shared_ptr<Activity> activity_ GUARDED_BY(mutex_);
};

}  // namespace Vexo::Linux
