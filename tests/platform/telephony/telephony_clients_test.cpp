#include <gtest/gtest.h>

#include "platform/ability/ability_ids.h"
#include "platform/telephony/core_service_client.h"
#include "tests/support/fake_ability_manager.h"

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

}  // namespace
}  // namespace Vexo::Telephony
