// Tests when automatic mode connects and disconnects this device.
#include "host/online/auto_mode.h"

#include <gtest/gtest.h>

namespace Vexo::Host {
namespace {

using namespace std::chrono_literals;
using Act = AutoMode::Act;
using Network::NetworkSituation;

const NetworkSituation NONE{.isSessionActive = true};
const NetworkSituation OWN{.hasNetwork = true, .isSessionActive = true};
const NetworkSituation JOINED{.hasNetwork = true, .isJoinedHere = true, .isSessionActive = true};
const NetworkSituation LEFT{.isSessionActive = true, .wasDisconnectedByUser = true};
const NetworkSituation IDLE{};

NetworkSituation Scanned(uint32_t scan, uint8_t percent)
{
    NetworkSituation situation = JOINED;
    situation.scan = scan;
    situation.inReach = {{"office", percent}};
    return situation;
}

class AutoModeTest : public testing::Test {
protected:
    AutoModeTest() { mode_.Switch(true); }

    AutoMode::Decision After(std::chrono::seconds passed, const NetworkSituation& situation, bool hasCandidate = true)
    {
        now_ += passed;
        return mode_.Update(situation, hasCandidate, false, now_);
    }
    void GetOnline()
    {
        After(0s, NONE);
        EXPECT_EQ(After(20s, NONE).act, Act::BRING_UP);
        mode_.OnAttemptEnded(true, now_);
    }

    AutoMode mode_;
    SteadyTime now_{std::chrono::hours(10)};
};

TEST_F(AutoModeTest, ConnectsAfterTwentySecondsWithoutNetworkInActiveSession)
{
    EXPECT_EQ(After(0s, OWN).act, Act::NOTHING);
    EXPECT_EQ(mode_.State(), AutoState::WATCHING);
    const auto again = After(60s, NONE).again;
    EXPECT_EQ(again, now_ + 20s);
    EXPECT_EQ(After(19s, NONE).act, Act::NOTHING);
    EXPECT_EQ(After(0s, OWN).act, Act::NOTHING) << "the wait begins anew";
    EXPECT_EQ(After(1s, NONE).act, Act::NOTHING);
    EXPECT_EQ(mode_.State(), AutoState::WAITING);
    EXPECT_EQ(After(20s, IDLE).act, Act::NOTHING) << "nobody uses the device";
    EXPECT_EQ(After(0s, NONE, false).act, Act::NOTHING) << "there is no other device";
    EXPECT_EQ(After(0s, NONE).act, Act::BRING_UP);
    EXPECT_EQ(After(60s, NONE).act, Act::NOTHING) << "it is being tried";
    mode_.OnAttemptEnded(true, now_);
    EXPECT_EQ(After(1s, JOINED).wantsScan, true);
    EXPECT_EQ(After(29s, JOINED).wantsScan, false);
    EXPECT_EQ(After(1s, JOINED).wantsScan, true);
    mode_.Switch(false);
    EXPECT_EQ(After(1h, NONE).act, Act::NOTHING);
}

TEST_F(AutoModeTest, DisconnectsWhenUsersNetworkIsBack)
{
    NetworkSituation wired = JOINED;
    wired.hasOwnWire = true;
    NetworkSituation wireOnly = OWN;
    wireOnly.hasOwnWire = true;
    struct Case {
        std::vector<NetworkSituation> seen;
        bool goesDown;
    };
    for (const Case& row : {Case{{wired}, true}, Case{{wireOnly}, true}, Case{{Scanned(1, 50), Scanned(2, 50)}, true},
                            Case{{Scanned(0, 90), Scanned(0, 90)}, false},  // a scan from before this device was online
                            Case{{Scanned(1, 50), Scanned(1, 50)}, false},  // the same scan twice
                            Case{{Scanned(1, 50), Scanned(2, 49), Scanned(3, 50)}, false}}) {
        mode_.Switch(false);
        mode_.Switch(true);
        now_ += 2h;
        GetOnline();
        After(1s, JOINED);
        Act last = Act::NOTHING;
        for (const NetworkSituation& situation : row.seen) {
            last = After(30s, situation).act;
        }
        EXPECT_EQ(last == Act::BRING_DOWN, row.goesDown) << &row;
    }
    mode_.OnOnlineByProgram();
    EXPECT_EQ(After(30s, wired).act, Act::NOTHING) << "a person began it";
}

TEST_F(AutoModeTest, DownOrManualDisconnectSuspendsAutomaticMode)
{
    for (const NetworkSituation& without : {NONE, LEFT}) {
        now_ += 2h;
        GetOnline();
        After(1s, JOINED);
        if (!without.wasDisconnectedByUser) {
            mode_.OnDownByPerson(now_);
        }
        EXPECT_EQ(After(0s, without).act, Act::NOTHING);
        EXPECT_EQ(mode_.State(), AutoState::SUSPENDED);
        EXPECT_EQ(mode_.Until(), now_ + 1h);
        EXPECT_EQ(After(59min, without).act, Act::NOTHING);
        EXPECT_EQ(After(1min, without).act, Act::BRING_UP) << "after an hour";
        mode_.OnAttemptEnded(true, now_);
        mode_.OnDownByPerson(now_);
        EXPECT_EQ(After(1s, OWN).act, Act::NOTHING);
        EXPECT_EQ(mode_.State(), AutoState::WATCHING) << "the user's own network was back";
        After(1s, JOINED);
    }
}

TEST_F(AutoModeTest, TriesSixTimesAnHourWithGrowingDelay)
{
    std::vector<std::chrono::seconds> tries;
    for (std::chrono::seconds passed{0}; passed < 2h; passed += 5s) {
        if (After(5s, NONE).act == Act::BRING_UP) {
            tries.push_back(passed);
            mode_.OnAttemptEnded(false, now_);
        }
        if (tries.size() == 6 && passed < 1h) {
            EXPECT_EQ(mode_.Until().has_value(), mode_.State() == AutoState::EXHAUSTED);
        }
    }
    ASSERT_GE(tries.size(), 7U);
    EXPECT_EQ(tries[0], 20s);
    EXPECT_EQ(tries[1] - tries[0], 40s);
    EXPECT_EQ(tries[5] - tries[4], 640s);
    EXPECT_GE(tries[6] - tries[0], 1h);
}

}  // namespace
}  // namespace Vexo::Host
