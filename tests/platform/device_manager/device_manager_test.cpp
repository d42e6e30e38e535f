#include "platform/device_manager/device_manager.h"

#include <gtest/gtest.h>

#include <future>
#include <thread>

#include "platform/device_manager/device_manager_server.h"
#include "tests/support/fake_ability_manager.h"
#include "tests/support/fake_soft_bus.h"

namespace Vexo::DistributedHardware {
namespace {

class BusWithNodes : public Vexo::Tests::FakeSoftBus {
public:
    std::vector<SoftBus::Node> nodes;
    std::vector<SoftBus::Node> Nodes() override { return nodes; }
};

// Records the thread on which OnRemoteDied() runs. A second call throws an exception.
struct Callback : DmInitCallback {
    void OnRemoteDied() override { thread.set_value(std::this_thread::get_id()); }
    std::promise<std::thread::id> thread;
};

struct DeviceManagerTest : testing::Test {
    DeviceManagerTest() { registry.manager->AddSystemAbility(DISTRIBUTED_HARDWARE_DEVICEMANAGER_SA_ID, server); }

    const Vexo::Tests::InstalledRegistry registry;
    const sptr<BusWithNodes> bus = MakeSptr<BusWithNodes>();
    const sptr<DeviceManagerServer> server = MakeSptr<DeviceManagerServer>(bus);
    DeviceManager& manager = DeviceManager::GetInstance();
    const std::string online = std::string(64, 'a');
    const std::string away = std::string(64, 'b');
};

TEST_F(DeviceManagerTest, ListsKnownDevicesTruncatedToRecordAndTrustsThem)
{
    bus->nodes = {{online, std::string(70, 'c'), std::string(200, 'n'), 1, true, 1'795'252'830'000},
                  {away, std::string(64, 'd'), "tablet", 2, false, 0}};
    std::vector<DmDeviceInfo> list(3);  // The call below must replace these three elements.

    EXPECT_EQ(manager.GetTrustedDeviceList("package", "", list), DM_OK);

    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[0].networkId, online);
    EXPECT_EQ(list[0].deviceId, std::string(DM_MAX_DEVICE_ID_LEN - 1, 'c'));
    EXPECT_EQ(list[0].deviceName, std::string(DM_MAX_DEVICE_NAME_LEN - 1, 'n'));
    EXPECT_EQ(list[0].extraData, R"({"online":true,"last_seen":"2026-11-21T09:20:30Z"})");
    EXPECT_EQ(list[1].extraData.substr(0, 15), R"({"online":false)");
    EXPECT_TRUE(manager.IsSameAccount(online));
    EXPECT_TRUE(manager.IsSameAccount(away));
    EXPECT_FALSE(manager.IsSameAccount(std::string(64, 'e')));
}

TEST_F(DeviceManagerTest, LastCallbackIsNotifiedOnceOnOwnThreadWhenServerGoes)
{
    const auto replaced = std::make_shared<Callback>();
    const auto current = std::make_shared<Callback>();
    EXPECT_EQ(manager.InitDeviceManager("package", replaced), DM_OK);
    EXPECT_EQ(manager.InitDeviceManager("package", current), DM_OK);
    EXPECT_EQ(manager.InitDeviceManager("package", nullptr), DM_INVALID_PARAM);
    server->Shutdown();
    server->Shutdown();
    auto told = current->thread.get_future();
    ASSERT_EQ(told.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    EXPECT_NE(told.get(), std::this_thread::get_id());
    EXPECT_EQ(replaced->thread.get_future().wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    registry.manager->RemoveSystemAbility(DISTRIBUTED_HARDWARE_DEVICEMANAGER_SA_ID);
    EXPECT_EQ(manager.InitDeviceManager("package", current), DM_UNAVAILABLE);
}

}  // namespace
}  // namespace Vexo::DistributedHardware
