// SharePolicy: decides whether another device of the account may use this device's network. SharePolicy has no clock
// and no lock. The caller passes the time and the resources, and locks a mutex around each call. No call blocks.
//
// The steps, in this order:
// - If "share.allow" is "nobody", the device is refused.
// - If the owner has a rule for the device, the rule decides.
// - If there is no rule, "share.allow" decides: "account" allows, "devices" refuses, "ask" asks the owner (opens a
//   question).
// - A device that is allowed so far is refused if the battery is below the configured level or the monthly data limit
//   is used up.
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

// How long a question to the owner stays open after the device's last request. Then the question counts as ignored.
inline constexpr std::chrono::seconds QUESTION_LIFE{60};
// How long the owner is not asked about a device after a question was denied or ignored.
inline constexpr std::chrono::minutes QUESTION_PAUSE{10};
inline constexpr uint32_t MAX_QUESTIONS_A_DAY = 3;  // questions about one device
inline constexpr std::chrono::minutes ONCE_LIFE{10};

// The resources that sharing consumes.
struct ShareResources {
    Network::Battery battery;
    uint64_t monthBytes = 0;
};

class SharePolicy {
public:
    SharePolicy(const SharingSettings& settings, const SharingRecord& record, const ShareTime& now);

    // Returns NONE if the device is allowed. Returns OWNER_ASKED if a question is open, or if a call of OnRequest would
    // open a question.
    SoftBus::PeerRefusal Check(const std::string& networkId, const ShareTime& now, const ShareResources& has) const;
    // Returns BATTERY_FLOOR, DATA_LIMIT or NONE. This is the part of Check that is the same for all devices.
    SoftBus::PeerRefusal CheckResources(const ShareResources& has) const;

    struct Verdict {
        SoftBus::PeerRefusal refusal = SoftBus::PeerRefusal::NONE;
        bool hasOpenedQuestion = false;
    };
    // Call when the device requests the network. If the refusal is OWNER_ASKED, opens a question or extends the
    // question that is already open.
    Verdict OnRequest(const std::string& networkId, const ShareTime& now, const ShareResources& has);

    // Closes the device's question. Stores every decision except DENY as the device's rule. Returns false for DENY
    // without an open question. Also returns false for a new rule when MAX_SHARE_DEVICES rules exist.
    bool Decide(const std::string& networkId, ShareDecision decision, const ShareTime& now);
    // Call when the device begins to use the network. A ONCE rule of the device then lasts until OnShareEnded is
    // called.
    void OnLeaseBegan(const std::string& networkId);
    // Call when the device has stopped using the network. Removes the device's ONCE rule.
    void OnShareEnded(const std::string& networkId);
    void Forget(const std::string& networkId);

    // Questions and Rules do not fill in the device names.
    std::vector<ShareRequest> Questions(const ShareTime& now) const;  // open questions, oldest first
    std::vector<ShareRule> Rules(const ShareTime& now) const;
    // Writes record.rules and record.asked.
    void Store(SharingRecord& record, const ShareTime& now) const;

private:
    // A rule ends when the wall clock reaches Rule::until, or when the boot clock reaches Rule::untilBoot. So setting
    // the wall clock back does not prolong the rule.
    struct Rule {
        ShareDecision decision = ShareDecision::ALWAYS;
        WallTime until = WallTime::max();
        SteadyTime untilBoot = SteadyTime::max();
        bool hasBegun = false;  // for ONCE: the device uses the network

        bool IsValid(const ShareTime& now) const { return hasBegun || (now.wall < until && now.boot < untilBoot); }
    };
    struct Question {
        std::chrono::sys_seconds at;
        SteadyTime openUntil;
        SteadyTime pausedUntil;
    };
    // Counts the questions about a device on one day. The day is over when the local date is later than Day::date. If
    // the clock was ahead, Day::date may be in the future. In this case the day is over 24 hours after Day::began.
    struct Day {
        std::chrono::local_days date;
        SteadyTime began;  // boot time when the day began, or when it was loaded from the file
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
