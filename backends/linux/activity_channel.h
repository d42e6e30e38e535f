// ActivityChannel: the part that channels over a daemon have in common: an Activity does the work between Start and
// Withdraw. It is held by a shared_ptr, since a timer that fires late may hold it too. Any thread; Withdraw blocks for
// Activity::Stop. Users: bluetooth_channel.cpp, dns_sd_channel.cpp.
#pragma once

#include <memory>
#include <string>
#include <utility>

#include "platform/base/mutex.h"
#include "platform/softbus/discovery/announcement_channel.h"

namespace Vexo::Linux {

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

    Mutex mutex_;
    std::shared_ptr<Activity> activity_ GUARDED_BY(mutex_);
};

}  // namespace Vexo::Linux
