#include "host/sharing/share_policy.h"

#include <algorithm>
#include <utility>

namespace Vexo::Host {
namespace {

using SoftBus::PeerRefusal;

constexpr std::chrono::hours LONGEST_DAY{25};  // the day on which daylight saving time ends

}  // namespace

bool SharePolicy::Day::IsOver(const ShareTime& now) const
{
    const std::chrono::local_days today = LocalDayOf(now.wall);
    return today > date || (today < date && now.boot - began >= std::chrono::hours(24));
}

SharePolicy::SharePolicy(const SharingSettings& settings, const SharingRecord& record, const ShareTime& now)
    : settings_(settings)
{
    for (const SharingRecord::Rule& stored : record.rules) {
        Rule rule{.decision = stored.decision};
        if (stored.decision == ShareDecision::TODAY) {
            rule.until = WallTime(stored.until);
            rule.untilBoot = now.boot + std::min<WallTime::duration>(rule.until - now.wall, LONGEST_DAY);
        }
        if (rule.IsValid(now) && rules_.size() < MAX_SHARE_DEVICES) {
            rules_.emplace(stored.networkId, rule);
        }
    }
    for (const SharingRecord::Asked& asked : record.asked) {
        if (days_.size() < MAX_SHARE_DEVICES) {
            days_.emplace(asked.networkId, Day{std::chrono::local_days(asked.day), now.boot, asked.count});
        }
    }
}

const SharePolicy::Rule* SharePolicy::ValidRule(const std::string& networkId, const ShareTime& now) const
{
    const auto found = rules_.find(networkId);
    return found != rules_.end() && found->second.IsValid(now) ? &found->second : nullptr;
}

PeerRefusal SharePolicy::CheckOwner(const std::string& networkId, const ShareTime& now) const
{
    if (settings_.allow == ShareAllow::NOBODY) {
        return PeerRefusal::NOT_ALLOWED;
    }
    if (const Rule* const rule = ValidRule(networkId, now); rule != nullptr) {
        return rule->decision == ShareDecision::NEVER ? PeerRefusal::NOT_ALLOWED : PeerRefusal::NONE;
    }
    if (settings_.allow != ShareAllow::ASK) {
        return settings_.allow == ShareAllow::ACCOUNT ? PeerRefusal::NONE : PeerRefusal::NOT_ALLOWED;
    }
    if (const auto asked = questions_.find(networkId); asked != questions_.end()) {
        if (now.boot < asked->second.openUntil) {
            return PeerRefusal::OWNER_ASKED;
        }
        if (now.boot < asked->second.pausedUntil) {
            return PeerRefusal::NOT_ANSWERED;
        }
    }
    const auto day = days_.find(networkId);
    const bool isAskedOut =
        day != days_.end() && !day->second.IsOver(now) && day->second.questions >= MAX_QUESTIONS_A_DAY;
    return isAskedOut ? PeerRefusal::NOT_ANSWERED : PeerRefusal::OWNER_ASKED;
}

PeerRefusal SharePolicy::CheckResources(const ShareResources& has) const
{
    const bool isBelowFloor =
        has.battery.percent && *has.battery.percent < settings_.batteryFloorPercent && !has.battery.isCharging;
    if (isBelowFloor) {
        return PeerRefusal::BATTERY_FLOOR;
    }
    const bool isUsedUp = settings_.monthLimitMb != 0 && has.monthBytes >= settings_.monthLimitMb * BYTES_OF_MB;
    return isUsedUp ? PeerRefusal::DATA_LIMIT : PeerRefusal::NONE;
}

PeerRefusal SharePolicy::Check(const std::string& networkId, const ShareTime& now, const ShareResources& has) const
{
    const PeerRefusal refusal = CheckOwner(networkId, now);
    return refusal == PeerRefusal::NONE ? CheckResources(has) : refusal;
}

SharePolicy::Verdict SharePolicy::OnRequest(const std::string& networkId, const ShareTime& now,
                                            const ShareResources& has)
{
    Verdict verdict{.refusal = Check(networkId, now, has)};
    if (verdict.refusal != PeerRefusal::OWNER_ASKED) {
        return verdict;
    }
    const auto asked = questions_.find(networkId);
    if (asked == questions_.end() || now.boot >= asked->second.openUntil) {
        verdict.hasOpenedQuestion = OpenQuestion(networkId, now);
    } else {
        asked->second.openUntil = now.boot + QUESTION_LIFE;
        asked->second.pausedUntil = asked->second.openUntil + QUESTION_PAUSE;
        return verdict;
    }
    if (!verdict.hasOpenedQuestion) {
        verdict.refusal = PeerRefusal::NOT_ANSWERED;
    }
    return verdict;
}

bool SharePolicy::OpenQuestion(const std::string& networkId, const ShareTime& now)
{
    ForgetPast(now);
    if (!days_.contains(networkId) && days_.size() >= MAX_SHARE_DEVICES) {
        return false;
    }
    const auto day = days_.try_emplace(networkId, Day{LocalDayOf(now.wall), now.boot, 0}).first;
    ++day->second.questions;
    questions_[networkId] = {SecondsOf(now.wall), now.boot + QUESTION_LIFE, now.boot + QUESTION_LIFE + QUESTION_PAUSE};
    return true;
}

void SharePolicy::ForgetPast(const ShareTime& now)
{
    std::erase_if(rules_, [&](const auto& entry) { return !entry.second.IsValid(now); });
    std::erase_if(questions_, [&](const auto& entry) { return now.boot >= entry.second.pausedUntil; });
    std::erase_if(days_, [&](const auto& entry) { return entry.second.IsOver(now); });
}

bool SharePolicy::Decide(const std::string& networkId, ShareDecision decision, const ShareTime& now)
{
    ForgetPast(now);
    const auto question = questions_.find(networkId);
    if (decision == ShareDecision::DENY) {
        if (question == questions_.end() || now.boot >= question->second.openUntil) {
            return false;
        }
        question->second.openUntil = now.boot;
        question->second.pausedUntil = now.boot + QUESTION_PAUSE;
        return true;
    }
    if (!rules_.contains(networkId) && rules_.size() >= MAX_SHARE_DEVICES) {
        return false;
    }
    Rule rule{.decision = decision};
    if (decision == ShareDecision::ONCE) {
        rule.until = now.wall + ONCE_LIFE;
        rule.untilBoot = now.boot + ONCE_LIFE;
    } else if (decision == ShareDecision::TODAY) {
        rule.until = BeginningOf(LocalDayOf(now.wall) + std::chrono::days(1));
        rule.untilBoot = now.boot + (rule.until - now.wall);
    }
    rules_[networkId] = rule;
    questions_.erase(networkId);
    return true;
}

void SharePolicy::OnLeaseBegan(const std::string& networkId)
{
    const auto rule = rules_.find(networkId);
    if (rule != rules_.end() && rule->second.decision == ShareDecision::ONCE) {
        rule->second.hasBegun = true;
    }
}

void SharePolicy::OnShareEnded(const std::string& networkId)
{
    const auto rule = rules_.find(networkId);
    if (rule != rules_.end() && rule->second.decision == ShareDecision::ONCE) {
        rules_.erase(rule);
    }
}

void SharePolicy::Forget(const std::string& networkId)
{
    rules_.erase(networkId);
    questions_.erase(networkId);
    days_.erase(networkId);
}

std::vector<ShareRequest> SharePolicy::Questions(const ShareTime& now) const
{
    std::vector<ShareRequest> open;
    for (const auto& [networkId, question] : questions_) {
        if (now.boot < question.openUntil) {
            open.push_back({networkId, "", question.at});
        }
    }
    std::stable_sort(open.begin(), open.end(),
                     [](const ShareRequest& one, const ShareRequest& other) { return one.at < other.at; });
    return open;
}

std::vector<ShareRule> SharePolicy::Rules(const ShareTime& now) const
{
    std::vector<ShareRule> rules;
    for (const auto& [networkId, rule] : rules_) {
        if (!rule.IsValid(now)) {
            continue;
        }
        ShareRule& shown = rules.emplace_back();
        shown.networkId = networkId;
        shown.decision = rule.decision;
        if (rule.until != WallTime::max() && !rule.hasBegun) {
            shown.until = SecondsOf(rule.until);
        }
    }
    return rules;
}

void SharePolicy::Store(SharingRecord& record, const ShareTime& now) const
{
    for (const auto& [networkId, rule] : rules_) {
        if (rule.decision == ShareDecision::ONCE || !rule.IsValid(now)) {
            continue;
        }
        const bool isToday = rule.decision == ShareDecision::TODAY;
        record.rules.push_back(
            {networkId, rule.decision, isToday ? SecondsOf(rule.until).time_since_epoch() : std::chrono::seconds(0)});
    }
    for (const auto& [networkId, day] : days_) {
        if (!day.IsOver(now)) {
            record.asked.push_back({networkId, day.date.time_since_epoch(), day.questions});
        }
    }
}

}  // namespace Vexo::Host
