// ActivityChannel: the common base of the announcement channels that use a daemon (bluetooth_channel.cpp,
// dns_sd_channel.cpp). An object of the class Activity does the work between Start and Withdraw, on a strand of its
// own. A shared_ptr owns the activity, because a timer that fires late may still use it. Any thread may call the
// channel; Withdraw blocks for Activity::Stop.
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

// Runs work on the activity's strand after pause, if the activity still exists then. While the strand gets no thread,
// retries each second. Does not block. timers must outlive the activity.
template <typename Activity>
Tasks::Timer CallOnStrandAfter(Tasks::Timers& timers, std::chrono::milliseconds pause, std::weak_ptr<Activity> weak,
                               Tasks::Strand Activity::*strand, void (Activity::*work)())
{
    // RunAfter would not do: if the pool has no thread, it drops the work, and nothing retries.
    return timers.CallAfter(pause, [&timers, weak, strand, work] {
        const auto activity = weak.lock();
        if (activity && !((*activity).*strand).Post([activity, work] { ((*activity).*work)(); })) {
            CallOnStrandAfter(timers, std::chrono::seconds(1), weak, strand, work).Detach();
        }
    });
}

// Runs end as the last work on the strand, and blocks until it is done. If the strand gets no thread, runs end on the
// calling thread.
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
    // Replaces the activity and returns the previous one.
    std::shared_ptr<Activity> Exchange(std::shared_ptr<Activity> next)
    {
        const MutexLock lock(mutex_);
        return std::exchange(activity_, std::move(next));
    }

    mutable Mutex mutex_;
    std::shared_ptr<Activity> activity_ GUARDED_BY(mutex_);
};

}  // namespace Vexo::Linux
