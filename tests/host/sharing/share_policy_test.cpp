#include "host/sharing/share_policy.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>

namespace Vexo::Host {
namespace {

using namespace std::chrono_literals;
using SoftBus::PeerRefusal;
using enum SoftBus::PeerRefusal;

// Noon on 2036-11-18 in a time zone that is five hours behind UTC.
constexpr std::chrono::sys_seconds NOON = std::chrono::sys_days(std::chrono::year(2036) / 11 / 18) + 17h;
const std::string PHONE(64, 'a');
const std::string TABLET(64, 'b');

class SharePolicyTest : public ::testing::Test {
protected:
    SharePolicyTest() { setenv("TZ", "EST5", 1); }

    void Use(const SharingSettings& settings)
    {
        settings_ = settings;
        policy_.emplace(settings_, SharingRecord{}, now_);
    }
    void Restart()
    {
        SharingRecord record;
        policy_->Store(record, now_);
        policy_.emplace(settings_, record, now_);
    }
    void Pass(std::chrono::seconds time)
    {
        now_.boot += time;
        now_.wall += time;
    }
    PeerRefusal Ask(const std::string& networkId = PHONE) { return policy_->OnRequest(networkId, now_, {}).refusal; }
    bool Decide(ShareDecision decision) { return policy_->Decide(PHONE, decision, now_); }

    ShareTime now_{SteadyTime(1h), NOON};
    SharingSettings settings_;
    std::optional<SharePolicy> policy_;
};

TEST_F(SharePolicyTest, NobodySettingOverridesRulesAndRulesOverrideTheRest)
{
    const struct {
        ShareAllow allow;
        PeerRefusal withoutRule, always, never;
    } cases[] = {
        {ShareAllow::ACCOUNT, NONE, NONE, NOT_ALLOWED},
        {ShareAllow::ASK, OWNER_ASKED, NONE, NOT_ALLOWED},
        {ShareAllow::DEVICES, NOT_ALLOWED, NONE, NOT_ALLOWED},
        {ShareAllow::NOBODY, NOT_ALLOWED, NOT_ALLOWED, NOT_ALLOWED},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(static_cast<int>(one.allow));
        Use({.allow = one.allow});
        EXPECT_EQ(Ask(), one.withoutRule);
        Decide(ShareDecision::ALWAYS);
        EXPECT_EQ(Ask(), one.always);
        Decide(ShareDecision::NEVER);
        Restart();
        EXPECT_EQ(Ask(), one.never);
        EXPECT_EQ(Ask(TABLET), one.withoutRule);
    }
}

TEST_F(SharePolicyTest, BatteryAndByteLimitsRefuseWhatOwnerAllows)
{
    const struct {
        Network::Battery battery;
        uint64_t bytes;
        PeerRefusal refusal;
    } cases[] = {
        {{20, false}, 4'999'999, NONE}, {{19, false}, 0, BATTERY_FLOOR},      {{19, true}, 0, NONE},
        {{{}, false}, 0, NONE},         {{90, false}, 5'000'000, DATA_LIMIT}, {{19, false}, 5'000'000, BATTERY_FLOOR},
    };
    Use({.batteryFloorPercent = 20, .monthLimitMb = 5});
    for (const auto& one : cases) {
        EXPECT_EQ(policy_->Check(PHONE, now_, {one.battery, one.bytes}), one.refusal) << one.bytes;
    }
    Decide(ShareDecision::NEVER);
    EXPECT_EQ(policy_->Check(PHONE, now_, {{19, false}, 0}), NOT_ALLOWED);
}

TEST_F(SharePolicyTest, QuestionsPerDeviceHavePauseAndDailyLimit)
{
    Use({.allow = ShareAllow::ASK});
    EXPECT_TRUE(policy_->OnRequest(PHONE, now_, {}).hasOpenedQuestion);
    Pass(QUESTION_LIFE - 1s);
    EXPECT_FALSE(policy_->OnRequest(PHONE, now_, {}).hasOpenedQuestion) << "the same question";
    Pass(QUESTION_LIFE - 1s);
    ASSERT_EQ(policy_->Questions(now_).size(), 1U);
    EXPECT_EQ(policy_->Questions(now_)[0].at, NOON);
    Pass(1s);
    EXPECT_TRUE(policy_->Questions(now_).empty());
    EXPECT_EQ(Ask(), NOT_ANSWERED) << "ignored";
    EXPECT_FALSE(Decide(ShareDecision::DENY));
    Pass(QUESTION_PAUSE);
    EXPECT_EQ(Ask(), OWNER_ASKED);
    EXPECT_TRUE(Decide(ShareDecision::DENY));
    EXPECT_EQ(Ask(), NOT_ANSWERED) << "denied";
    Pass(QUESTION_PAUSE);
    Restart();
    EXPECT_EQ(Ask(), OWNER_ASKED);
    Decide(ShareDecision::DENY);
    Pass(QUESTION_PAUSE);
    EXPECT_EQ(Ask(), NOT_ANSWERED) << "the fourth question of the day";
    EXPECT_EQ(Ask(TABLET), OWNER_ASKED);
    now_.wall -= 24h;
    EXPECT_EQ(Ask(), NOT_ANSWERED) << "yesterday, by a clock that was set back";
    now_.wall = NOON + 12h;
    EXPECT_EQ(Ask(), OWNER_ASKED) << "the next day";
    Decide(ShareDecision::ONCE);
    policy_->OnShareEnded(PHONE);
    EXPECT_EQ(Ask(), OWNER_ASKED) << "no pause after a decision";
}

TEST_F(SharePolicyTest, OnceAndTodayRulesExpire)
{
    Use({.allow = ShareAllow::DEVICES});
    Decide(ShareDecision::ONCE);
    Pass(ONCE_LIFE - 1s);
    EXPECT_EQ(Ask(), NONE);
    policy_->OnLeaseBegan(PHONE);
    Pass(24h);
    EXPECT_EQ(Ask(), NONE) << "in use";
    policy_->OnShareEnded(PHONE);
    EXPECT_EQ(Ask(), NOT_ALLOWED);

    for (const auto decision : {ShareDecision::ONCE, ShareDecision::TODAY}) {
        const auto life = decision == ShareDecision::ONCE ? std::chrono::seconds(ONCE_LIFE) : 12h;
        now_.wall = NOON;
        Decide(decision);
        ASSERT_EQ(policy_->Rules(now_).size(), 1U);
        EXPECT_EQ(policy_->Rules(now_)[0].until, NOON + life);
        now_.wall -= 24h;
        now_.boot += life - 1s;
        EXPECT_EQ(Ask(), NONE);
        now_.boot += 1s;
        EXPECT_EQ(Ask(), NOT_ALLOWED) << "a clock that was set back does not prolong it";
    }
    now_.wall = NOON;
    Decide(ShareDecision::TODAY);
    policy_->OnShareEnded(PHONE);
    now_.wall += 12h - 1s;
    Restart();
    EXPECT_EQ(Ask(), NONE);
    now_.wall += 1s;
    EXPECT_EQ(Ask(), NOT_ALLOWED);
    Decide(ShareDecision::ONCE);
    Restart();
    EXPECT_EQ(Ask(), NOT_ALLOWED) << "the daemon's end closed the hotspot";
}

TEST_F(SharePolicyTest, NumberOfDevicesIsLimited)
{
    Use({.allow = ShareAllow::ASK});
    for (size_t device = 0; device < MAX_SHARE_DEVICES; ++device) {
        EXPECT_EQ(Ask(std::to_string(device)), OWNER_ASKED);
        EXPECT_TRUE(policy_->Decide(std::to_string(device), ShareDecision::ALWAYS, now_));
    }
    EXPECT_EQ(Ask(), NOT_ANSWERED);
    EXPECT_FALSE(Decide(ShareDecision::ALWAYS));
    EXPECT_TRUE(policy_->Decide("0", ShareDecision::NEVER, now_));
}

}  // namespace
}  // namespace Vexo::Host
