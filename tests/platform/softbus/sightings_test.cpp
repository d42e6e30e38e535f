// Tests how long the announcement of another device is valid.
#include "platform/softbus/discovery/sightings.h"

#include <gtest/gtest.h>

#include "tests/platform/trust/trust_fixture.h"
#include "tests/support/manual_timers.h"

namespace Vexo::SoftBus {
namespace {

class SightingsTest : public testing::Test {
protected:
    SightingsTest()
    {
        sightings.SetTokens(laptop.networkId,
                            {{"tcp", Trust::AnnouncementTokens::Make(*laptop.linkKeys, "tcp", clock).value()}});
    }
    std::string TokenOf(const Trust::Identity& identity) const
    {
        return Trust::AnnouncementTokens::Make(*identity.linkKeys, "tcp", clock).value()->MakeToken(identity.networkId);
    }
    std::optional<std::string> Hear(const std::string& name, const std::string& token, const std::string& address)
    {
        const auto owner = sightings.Set("test", name, Announcement{token, {{"tcp", address}}});
        return owner ? std::optional(owner->idPrefix) : std::nullopt;
    }

    Trust::Tests::Devices account;
    Trust::Identity laptop = account.Enrol("laptop");
    Trust::Identity phone = account.Enrol("phone");
    Trust::Identity stranger = Trust::Tests::Devices().Enrol("stranger");
    Vexo::Tests::ManualTimers clock;
    Sightings sightings{clock};
};

TEST_F(SightingsTest, DeviceIsAnnouncedUntilLastAnnouncementEndsOrExpires)
{
    EXPECT_EQ(Hear("own", TokenOf(laptop), "a:1"), std::nullopt);
    EXPECT_EQ(Hear("other", TokenOf(stranger), "a:1"), std::nullopt);
    EXPECT_EQ(Hear("cut", TokenOf(phone).substr(1), "a:1"), std::nullopt);
    EXPECT_EQ(Hear("old", TokenOf(phone), "a:1"), phone.networkId.substr(0, 8));
    clock.Advance(Trust::TOKEN_PERIOD);
    Hear("new", TokenOf(phone), "a:2");
    const std::vector<PeerAddress> newestFirst{{"tcp", "a:2"}, {"tcp", "a:1"}};
    EXPECT_EQ(sightings.Addresses(phone.networkId), newestFirst);
    sightings.Set("test", "old", std::nullopt);
    EXPECT_TRUE(sightings.IsAnnounced(phone.networkId));
    clock.Advance(SIGHTING_LIFE);
    sightings.DropOld();
    EXPECT_TRUE(sightings.IsAnnounced(phone.networkId));
    clock.Advance(std::chrono::seconds(1));
    sightings.DropOld();
    EXPECT_FALSE(sightings.IsAnnounced(phone.networkId));
}

TEST_F(SightingsTest, SilentDeviceIsAwayUntilItAnswersOrAnnouncesAnew)
{
    Hear("phone", TokenOf(phone), "a:1");
    for (const bool answers : {true, false}) {
        sightings.MarkUnanswered(phone.networkId);
        EXPECT_FALSE(sightings.IsAnnounced(phone.networkId));
        EXPECT_EQ(sightings.Addresses(phone.networkId).size(), 1u) << "still worth a try";
        if (answers) {
            sightings.MarkAnswered(phone.networkId);
        } else {
            Hear("phone", TokenOf(phone), "a:1");
        }
        EXPECT_TRUE(sightings.IsAnnounced(phone.networkId));
    }
}

TEST_F(SightingsTest, BadAddressIsSkippedUntilDelayEndsOrItAnswers)
{
    const PeerAddress one{"tcp", "a:1"};
    const PeerAddress other{"tcp", "a:2"};
    sightings.RecordHandshake(phone.networkId, one, true);
    sightings.RecordHandshake(phone.networkId, other, true);
    sightings.RecordHandshake(phone.networkId, other, false);
    EXPECT_TRUE(sightings.IsAvoided(phone.networkId, one));
    EXPECT_FALSE(sightings.IsAvoided(phone.networkId, other));
    EXPECT_FALSE(sightings.IsAvoided(laptop.networkId, one)) << "another device may be there";
    clock.Advance(AVOID_TIME);
    EXPECT_FALSE(sightings.IsAvoided(phone.networkId, one));
}

TEST_F(SightingsTest, WrongClocksAreRecognisedWithinRateLimit)
{
    const std::string early = TokenOf(phone);
    clock.Advance(std::chrono::hours(10));
    EXPECT_TRUE(sightings.IsOurs("tcp", early));
    Hear("phone", early, "a:1");
    EXPECT_EQ(sightings.ClockAhead(phone.networkId), std::chrono::hours(-10));
    Hear("now", TokenOf(phone), "a:1");
    EXPECT_EQ(sightings.ClockAhead(phone.networkId), std::chrono::hours(0)) << "the other one may be a copy";
    for (int i = 0; i < MAX_FAILED_TOKEN_READS; ++i) {
        EXPECT_FALSE(sightings.IsOurs("tcp", "stranger"));
    }
    EXPECT_FALSE(sightings.IsOurs("tcp", early));
    EXPECT_TRUE(sightings.IsOurs("tcp", TokenOf(phone))) << "a clock that is right costs little";
    clock.Advance(std::chrono::minutes(1));
    EXPECT_TRUE(sightings.IsOurs("tcp", early));
}

}  // namespace
}  // namespace Vexo::SoftBus
