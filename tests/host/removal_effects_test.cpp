#include "host/removal_effects.h"

#include <gtest/gtest.h>

#include <fstream>

#include "platform/base/clock.h"
#include "tests/support/temp_folder.h"

namespace Vexo::Host {
namespace {

using std::chrono::hours;
using std::chrono::sys_seconds;

constexpr sys_seconds JOINED{std::chrono::seconds(1'800'000'000)};

class RemovalEffectsTest : public ::testing::Test {
protected:
    // Applies the account state as a newly started daemon does.
    void Run(const Trust::AccountState& state)
    {
        RemovalEffects(folder_.Path(), [this] {
            ++changes_;
            return hotspot_;
        }).Apply(state, "self");
    }
    std::optional<QuviewDFX::HealthCheck> CheckAt(sys_seconds time)
    {
        clock_.time = time;
        return RemovalEffects(folder_.Path(), nullptr, clock_).Check();
    }
    static Trust::AccountState StateWith(std::vector<Trust::RemovedKey> removed)
    {
        Trust::AccountState state;
        state.members = {{"self", "laptop", 3, JOINED}};
        state.removed = std::move(removed);
        return state;
    }

    struct FixedClock : Clock {
        SteadyTime Now() const override { return {}; }
        WallTime WallNow() const override { return time; }
        WallTime time;
    };

    const Tests::TempFolder folder_;
    FixedClock clock_;
    Result<std::string> hotspot_ = std::string();
    int changes_ = 0;
};

TEST_F(RemovalEffectsTest, EachRemovalSinceJoiningChangesHotspotKeyOnce)
{
    const Trust::RemovedKey before{"old", "tablet", JOINED - hours(1), 5, ""};
    const Trust::RemovedKey lost{"lost", "phone", JOINED + hours(1), 7, ""};
    const Trust::RemovedKey later{"later", "watch", JOINED + hours(2), 9, ""};
    Run(StateWith({before}));
    EXPECT_EQ(changes_, 0);
    hotspot_ = Fail(ErrorCode::SYSTEM, "the disk is full");
    Run(StateWith({before, lost}));
    hotspot_ = std::string();
    Run(StateWith({before, lost}));
    EXPECT_EQ(changes_, 2) << "tried again after a failure";
    Run(StateWith({before, lost}));
    EXPECT_EQ(changes_, 2);
    Run(StateWith({before, lost, later}));
    EXPECT_EQ(changes_, 3);

    std::ofstream(folder_.Path() / REMOVALS_FILE) << "{";
    Run(StateWith({before, lost}));
    EXPECT_EQ(changes_, 4) << "a damaged file counts as empty";
    EXPECT_FALSE(CheckAt(JOINED + hours(3)));
}

TEST_F(RemovalEffectsTest, UsersHotspotIsReportedForThirtyDays)
{
    hotspot_ = std::string("Garden");
    Run(StateWith({{"lost", "phone", JOINED, 7, ""}}));
    const auto check = CheckAt(JOINED + hours(24 * 30));
    ASSERT_TRUE(check);
    EXPECT_NE(check->message.find("\"phone\", removed from the account on 2027-01-15, may know the key of your hotspot "
                                  "\"Garden\""),
              std::string::npos)
        << check->message;
    EXPECT_FALSE(CheckAt(JOINED + hours(24 * 30 + 1)));
}

}  // namespace
}  // namespace Vexo::Host
