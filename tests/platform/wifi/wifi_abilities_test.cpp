#include <gtest/gtest.h>

#include "platform/ability/ability_ids.h"
#include "tests/support/fake_ability_manager.h"
#include "tests/support/fake_wifi.h"

namespace Vexo::Wifi {
namespace {

TEST(WifiAbilitiesTest, TheInstanceIsWhatIsRegisteredNowAndIsKeptAliveByItsHolder)
{
    Tests::InstalledRegistry registry;
    EXPECT_EQ(WifiHotspot::GetInstance(WIFI_HOTSPOT_SYS_ABILITY_ID, 0), nullptr);
    registry.Add<Tests::FakeWifiHotspot>(WIFI_HOTSPOT_SYS_ABILITY_ID)->active = true;
    EXPECT_EQ(WifiDevice::GetInstance(WIFI_HOTSPOT_SYS_ABILITY_ID), nullptr) << "another interface";
    EXPECT_EQ(WifiHotspot::GetInstance(WIFI_HOTSPOT_SYS_ABILITY_ID, 1), nullptr) << "a second radio";

    const std::shared_ptr<WifiHotspot> hotspot = WifiHotspot::GetInstance(WIFI_HOTSPOT_SYS_ABILITY_ID);
    registry.manager->RemoveSystemAbility(WIFI_HOTSPOT_SYS_ABILITY_ID);
    EXPECT_EQ(WifiHotspot::GetInstance(WIFI_HOTSPOT_SYS_ABILITY_ID), nullptr);
    bool isActive = false;
    ASSERT_NE(hotspot, nullptr);
    EXPECT_EQ(hotspot->IsHotspotActive(isActive), WIFI_OK);
    EXPECT_TRUE(isActive);
}

}  // namespace
}  // namespace Vexo::Wifi
