#include <gtest/gtest.h>

#include "platform/ability/ability_ids.h"
#include "tests/support/fake_ability_manager.h"
#include "tests/support/fake_telephony.h"

namespace Vexo::Telephony {
namespace {

TEST(TelephonyClientsTest, WithoutTheAbilitiesEveryCallSaysUnavailable)
{
    Tests::InstalledRegistry registry;
    SimState state = SimState::READY;
    bool isEnabled = true;
    EXPECT_EQ(CoreServiceClient::GetInstance().GetSimState(0, state), TELEPHONY_UNAVAILABLE);
    EXPECT_EQ(CoreServiceClient::GetInstance().GetRadioState(0, nullptr), TELEPHONY_UNAVAILABLE);
    EXPECT_EQ(CellularDataClient::GetInstance().IsCellularDataEnabled(isEnabled), TELEPHONY_UNAVAILABLE);
    EXPECT_EQ(state, SimState::READY);
    EXPECT_TRUE(isEnabled);
}

TEST(TelephonyClientsTest, CallsReachTheAbilitiesWithTheirArgumentsAndResults)
{
    Tests::InstalledRegistry registry;
    const auto core = registry.Add<Tests::FakeCoreService>(TELEPHONY_CORE_SERVICE_SYS_ABILITY_ID);
    const auto data = registry.Add<Tests::FakeCellularData>(TELEPHONY_CELLULAR_DATA_SYS_ABILITY_ID);
    core->sims = {SimState::LOCKED, SimState::LOADED};
    core->radios[1] = {TELEPHONY_NO_ANSWER, false, false, 0};
    data->isEnabled = true;
    SimState state = SimState::UNKNOWN;
    bool isEnabled = false;
    EXPECT_EQ(CoreServiceClient::GetInstance().GetSimState(1, state), TELEPHONY_OK);
    EXPECT_EQ(state, SimState::LOADED);
    EXPECT_EQ(CoreServiceClient::GetInstance().GetRadioState(1, nullptr), TELEPHONY_NO_ANSWER);
    EXPECT_EQ(CellularDataClient::GetInstance().IsCellularDataEnabled(isEnabled), TELEPHONY_OK);
    EXPECT_TRUE(isEnabled);
}

}  // namespace
}  // namespace Vexo::Telephony
