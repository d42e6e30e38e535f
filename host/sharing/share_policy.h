// SharePolicy: decides whether another device of the account may use this device's network. It has no clock and no
// lock: the caller passes the time and the resources, and locks. No call blocks.
//
// The steps, in this order:
// - "share.allow" is "nobody": refused.
// - The owner has a rule for the device: the rule decides.
// - No rule: "account" allows, "devices" refuses, "ask" asks the owner (opens a question).
// - What is allowed so far is refused below the battery floor, and when the monthly data limit is used up.
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

// How long a question to the owner stays open after the device's last request. Then it counts as ignored.
inline constexpr std::chrono::seconds QUESTION_LIFE{60};
// How long the owner is not asked about a device after a question was denied or ignored.
inline constexpr std::chrono::minutes QUESTION_PAUSE{10};
inline constexpr uint32_t MAX_QUESTIONS_A_DAY = 3;  // about one device
inline constexpr std::chrono::minutes ONCE_LIFE{10};

// The resources that sharing consumes.
struct ShareResources {
    Network::Battery battery;
    uint64_t monthBytes = 0;
};

class SharePolicy {
public:
    SharePolicy(const SharingSettings& settings, const SharingRecord& record, const ShareTime& now);

    // Returns NONE if the device is allowed. Returns OWNER_ASKED if a question is open, or a request would open one.
    SoftBus::PeerRefusal Check(const std::string& networkId, const ShareTime& now, const ShareResources& has) const;
    // Returns BATTERY_FLOOR, DATA_LIMIT or NONE: the part of Check that is the same for all devices.
    SoftBus::PeerRefusal CheckResources(const ShareResources& has) const;

    struct Verdict {
        SoftBus::PeerRefusal refusal = SoftBus::PeerRefusal::NONE;
        bool hasOpenedQuestion = false;
    };
    // Call when the device requests the network. If the refusal is OWNER_ASKED, opens a question or extends the open
    // one.
    Verdict OnRequest(const std::string& networkId, const ShareTime& now, const ShareResources& has);

    // Makes the decision the device's rule and closes its question. Returns false for DENY without an open question,
    // and for a new rule when MAX_SHARE_DEVICES rules exist.
    bool Decide(const std::string& networkId, ShareDecision decision, const ShareTime& now);
    // Call when the device begins to use the network: a ONCE rule now lasts until OnShareEnded.
    void OnLeaseBegan(const std::string& networkId);
    // Call when the device's use has ended: removes a ONCE rule.
    void OnShareEnded(const std::string& networkId);
    void Forget(const std::string& networkId);

    // Both lists are without device names.
    std::vector<ShareRequest> Questions(const ShareTime& now) const;  // open questions, oldest first
    std::vector<ShareRule> Rules(const ShareTime& now) const;
    // Writes the members rules and asked of record.
    void Store(SharingRecord& record, const ShareTime& now) const;

private:
    // A rule is valid until either clock reaches its end, so setting the wall clock back does not prolong it.
    struct Rule {
        ShareDecision decision = ShareDecision::ALWAYS;
        WallTime until = WallTime::max();
        SteadyTime untilBoot = SteadyTime::max();
        bool hasBegun = false;  // ONCE: the device uses the network

        bool IsValid(const ShareTime& now) const { return hasBegun || (now.wall < until && now.boot < untilBoot); }
    };
    struct Question {
        std::chrono::sys_seconds at;
        SteadyTime openUntil;
        SteadyTime pausedUntil;
    };
    // The questions about a device on one day. The day is over when the local date is later. If the stored date is in
    // the future, because the clock was ahead, the day is over after 24 hours.
    struct Day {
        std::chrono::local_days date;
        SteadyTime began;  // when the day began, or was loaded from the file
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
