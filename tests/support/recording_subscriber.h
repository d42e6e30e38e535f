// RecordingSubscriber: records the common events that it receives in a trail. Each entry has the form "action type
// code". Any thread may call it.
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/events/common_event_subscriber.h"
#include "platform/events/common_event_support.h"
#include "tests/support/trail.h"

namespace Vexo::Tests {

class RecordingSubscriber : public EventFwk::CommonEventSubscriber, public Trail<std::string> {
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
        thread = std::this_thread::get_id();
        Add(want.GetAction() + " " +
            std::to_string(want.GetIntParam(EventFwk::CommonEventSupport::NET_TYPE_PARAMETER, -1)) + " " +
            std::to_string(data.GetCode()));
        held_.wait(true);
    }

    // Hold(true) makes OnReceiveEvent block until Hold(false) is called.
    void Hold(bool held)
    {
        held_ = held;
        held_.notify_all();
    }

    std::atomic<std::thread::id> thread;  // the thread of the last callback

private:
    std::atomic<bool> held_{false};
};

}  // namespace Vexo::Tests
