// SharePolicy: whether another device of the account may use this device's network: by the settings, the owner's rules
// for single devices and the questions that the owner was asked; then by battery and bytes. It only decides: the caller
// gives the time and the facts, and locks. No call blocks.
//
// In this order: "nobody" refuses; the device's rule decides; without one "account" allows, "devices" refuses, and
// "ask" opens a question; what is allowed so far is refused below the battery floor and when the month's bytes are used
// up.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/sharing/share_time.h"
#include "host/sharing/sharing_file.h"
#include "host/sharing/sharing_settings.h"
#include "platform/network/network_monitor.h"
#include "platform/softbus/peer_policy.h"

namespace Vexo::Host {

// A question is open for so long after the device's last request; then it was ignored.
inline constexpr std::chrono::seconds QUESTION_LIFE{60};
// The owner is not asked about a device for so long after a question that was denied or ignored.
inline constexpr std::chrono::minutes QUESTION_PAUSE{10};
inline constexpr uint32_t MAX_QUESTIONS_A_DAY = 3;  // about one device
inline constexpr std::chrono::minutes ONCE_LIFE{10};

// What sharing uses up.
struct ShareResources {
    Network::Battery battery;
    uint64_t monthBytes = 0;
};

class SharePolicy {
public:
    SharePolicy(const SharingSettings& settings, const SharingRecord& record, const ShareTime& now);

    // NONE: allowed. OWNER_ASKED: a question is open, or a request would open one.
    SoftBus::PeerRefusal Check(const std::string& networkId, const ShareTime& now, const ShareResources& has) const;
    // BATTERY_FLOOR, DATA_LIMIT or NONE: for all devices.
    SoftBus::PeerRefusal CheckResources(const ShareResources& has) const;

    struct Verdict {
        SoftBus::PeerRefusal refusal = SoftBus::PeerRefusal::NONE;
        bool hasOpenedQuestion = false;
    };
    // The device asks for the network. Opens a question, or keeps it open, when the refusal is OWNER_ASKED.
    Verdict OnRequest(const std::string& networkId, const ShareTime& now, const ShareResources& has);

    // Makes the decision the device's rule and ends its question. False: DENY without an open question, or a rule when
    // MAX_SHARE_DEVICES others have one.
    bool Decide(const std::string& networkId, ShareDecision decision, const ShareTime& now);
    // The device uses the share now: ONCE lasts until OnShareEnded.
    void OnLeaseBegan(const std::string& networkId);
    // The device is done: ONCE is used up.
    void OnShareEnded(const std::string& networkId);
    void Forget(const std::string& networkId);

    // Without device names.
    std::vector<ShareRequest> Questions(const ShareTime& now) const;  // open ones, the oldest first
    std::vector<ShareRule> Rules(const ShareTime& now) const;
    // Fills in rules and asked.
    void Store(SharingRecord& record, const ShareTime& now) const;

private:
    // Holds while both clocks are before its end, so that a clock that is set back does not prolong it.
    struct Rule {
        ShareDecision decision = ShareDecision::ALWAYS;
        WallTime until = WallTime::max();
        SteadyTime untilBoot = SteadyTime::max();
        bool hasBegun = false;  // ONCE: the device uses the share

        bool IsValid(const ShareTime& now) const { return hasBegun || (now.wall < until && now.boot < untilBoot); }
    };
    struct Question {
        std::chrono::sys_seconds at;
        SteadyTime openUntil;
        SteadyTime pausedUntil;
    };
    // A day ends when the date is a later one, or when it has lasted 24 hours by a date that was ahead once.
    struct Day {
        std::chrono::local_days date;
        SteadyTime began;  // or loaded
        uint32_t questions = 0;

        bool IsOver(const ShareTime& now) const;
    };

    const Rule* ValidRule(const std::string& networkId, const ShareTime& now) const;
    SoftBus::PeerRefusal CheckOwner(const std::string& networkId, const ShareTime& now) const;
    bool OpenQuestion(const std::string& networkId, const ShareTime& now);
    void ForgetPast(const ShareTime& now);

    const SharingSettings settings_;
    std::map<std::string, Rule> rules_;
    std::map<std::string, Question> questions_;
    std::map<std::string, Day> days_;
};

}  // namespace Vexo::Host
