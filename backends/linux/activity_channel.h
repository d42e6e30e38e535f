// ActivityChannel: the part that channels over a daemon have in common: an Activity does the work between Start and
// Withdraw, on a strand of its own. It is held by a shared_ptr, since a timer that fires late may hold it too. Any
// thread; Withdraw blocks for Activity::Stop. Users: bluetooth_channel.cpp, dns_sd_channel.cpp.
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

// Runs work on the activity's strand after pause, if the activity still lives then. Tries again each second while the
// strand gets no thread. Does not block. timers outlives the activity.
template <typename Activity>
Tasks::Timer CallOnStrandAfter(Tasks::Timers& timers, std::chrono::milliseconds pause, std::weak_ptr<Activity> weak,
                               Tasks::Strand Activity::*strand, void (Activity::*work)())
{
    // CallAfter, not RunAfter: a pool that has no thread would lose the work, and nothing would retry again.
    return timers.CallAfter(pause, [&timers, weak, strand, work] {
        const auto activity = weak.lock();
        if (activity && !((*activity).*strand).Post([activity, work] { ((*activity).*work)(); })) {
            CallOnStrandAfter(timers, std::chrono::seconds(1), weak, strand, work).Detach();
        }
    });
}

// Runs end as the last work on the strand, and blocks until it is done. Runs it on this thread if the strand gets none.
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
    // Returns the activity before.
    std::shared_ptr<Activity> Exchange(std::shared_ptr<Activity> next)
    {
        const MutexLock lock(mutex_);
        return std::exchange(activity_, std::move(next));
    }

    mutable Mutex mutex_;
    std::shared_ptr<Activity> activity_ GUARDED_BY(mutex_);
};

}  // namespace Vexo::Linux
