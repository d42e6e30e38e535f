// MatchingSkills and CommonEventSubscribeInfo: select the events that a subscriber wants. CommonEventSubscriber:
// receives these events. OnReceiveEvent runs on the common-event thread, one event at a time, in publishing order.
// OnReceiveEvent must not block: start longer work on another thread.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/events/want.h"

namespace Vexo::EventFwk {

class MatchingSkills {
public:
    void AddEvent(const std::string& action) { events_.push_back(action); }
    const std::vector<std::string>& GetEvents() const { return events_; }
    bool Match(const Want& want) const;

private:
    std::vector<std::string> events_;
};

class CommonEventSubscribeInfo {
public:
    explicit CommonEventSubscribeInfo(MatchingSkills skills) : skills_(std::move(skills)) {}
    const MatchingSkills& GetMatchingSkills() const { return skills_; }

private:
    MatchingSkills skills_;
};

class CommonEventSubscriber {
public:
    explicit CommonEventSubscriber(CommonEventSubscribeInfo info) : info_(std::move(info)) {}
    virtual ~CommonEventSubscriber() = default;
    virtual void OnReceiveEvent(const CommonEventData& data) = 0;
    const CommonEventSubscribeInfo& GetSubscribeInfo() const { return info_; }

private:
    const CommonEventSubscribeInfo info_;
};

}  // namespace Vexo::EventFwk
