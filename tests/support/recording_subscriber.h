// RecordingSubscriber: keeps the common events it gets as "action type code" and lets a test wait for them. Any thread.
#pragma once

#include <algorithm>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/events/common_event_subscriber.h"
#include "platform/events/common_event_support.h"
#include "tests/support/eventually.h"

namespace Vexo::Tests {

class RecordingSubscriber : public EventFwk::CommonEventSubscriber {
public:
    using CommonEventSubscriber::CommonEventSubscriber;

    static std::shared_ptr<RecordingSubscriber> To(const std::vector<std::string>& actions)
    {
        EventFwk::MatchingSkills skills;
        for (const std::string& action : actions) {
            skills.AddEvent(action);
        }
        return std::make_shared<RecordingSubscriber>(EventFwk::CommonEventSubscribeInfo(std::move(skills)));
    }

    void OnReceiveEvent(const EventFwk::CommonEventData& data) override
    {
        const EventFwk::Want& want = data.GetWant();
        std::unique_lock lock(mutex_);
        thread_ = std::this_thread::get_id();
        lines_.push_back(want.GetAction() + " " +
                         std::to_string(want.GetIntParam(EventFwk::CommonEventSupport::NET_TYPE_PARAMETER, -1)) + " " +
                         std::to_string(data.GetCode()));
        changed_.notify_all();
        changed_.wait_for(lock, WAIT_LIMIT, [this] { return !held_; });
    }

    // While held, OnReceiveEvent does not return.
    void Hold(bool held)
    {
        const std::lock_guard lock(mutex_);
        held_ = held;
        changed_.notify_all();
    }
    // The events so far, once there are count of them.
    std::vector<std::string> WaitFor(size_t count)
    {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, WAIT_LIMIT, [&] { return lines_.size() >= count; });
        return lines_;
    }
    std::thread::id Thread()
    {
        const std::lock_guard lock(mutex_);
        return thread_;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> lines_;
    std::thread::id thread_;
    bool held_ = false;
};

}  // namespace Vexo::Tests
