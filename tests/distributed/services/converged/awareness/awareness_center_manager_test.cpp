// The front of the awareness subsystem, with a real registry where arrivals matter.
#include "distributed/services/converged/awareness/awareness_center_manager.h"

#include <gmock/gmock.h>

#include "platform/ability/system_ability_manager.h"
#include "platform/events/common_event_server.h"
#include "platform/events/common_event_support.h"
#include "tests/distributed/services/converged/awareness/recording_listener.h"
#include "tests/support/fake_ability_manager.h"
#include "tests/support/fake_device_manager.h"
#include "tests/support/fake_soft_bus.h"
#include "tests/support/log_capture.h"

namespace Vexo::Tests {
namespace {

using EventFwk::CommonEventManager;
using EventFwk::CommonEventSupport;
using NetManagerStandard::AwarenessCenterManager;
using NetManagerStandard::NetInfo;
using testing::ElementsAre;

constexpr int32_t ARGUMENT_ERROR = 1004500111;

class RefusingAbilityManager : public FakeAbilityManager {
public:
    std::vector<int32_t> subscribed;

    int32_t SubscribeSystemAbility(int32_t id, const sptr<ISystemAbilityStatusChange>&) override
    {
        subscribed.push_back(id);
        return ERR_INVALID_ARGUMENT;
    }
};

TEST(AwarenessCenterManagerTest, ListenersNeedEventsAndACallbackAndNetInfoNeedsASource)
{
    const InstalledRegistry registry;
    AwarenessCenterManager manager;
    NetInfo info;
    EXPECT_EQ(manager.GetCurrentNetInfo(info), 1004500112);
    manager.InitAwarenessCenter();
    EXPECT_EQ(manager.GetCurrentNetInfo(info), 0);

    const auto listener = std::make_shared<RecordingListener>();
    EXPECT_EQ(manager.Listen(listener, 0, false), ARGUMENT_ERROR);
    EXPECT_EQ(manager.Listen(nullptr, 0x100, false), ARGUMENT_ERROR);
    EXPECT_EQ(manager.UnListen(nullptr), ARGUMENT_ERROR);
    EXPECT_EQ(manager.Listen(listener, 0x100, true), 0);
    EXPECT_THAT(listener->Take(), ElementsAre("screen off"));
    EXPECT_EQ(manager.UnListen(listener), 0);
}

TEST(AwarenessCenterManagerTest, WatchesFourAbilitiesInOrderOnceAndLogsEveryRefusal)
{
    const LogCapture log;
    const auto registry = MakeSptr<RefusingAbilityManager>();
    SystemAbilityManagerClient::GetInstance().SetSystemAbilityManager(registry);
    AwarenessCenterManager manager;
    manager.InitSysAbilityStatusListener();
    manager.InitSysAbilityStatusListener();
    EXPECT_THAT(registry->subscribed, ElementsAre(3299, 4700, 4802, 70635));
    EXPECT_EQ(log.Count(" failed"), 4U);
    SystemAbilityManagerClient::GetInstance().SetSystemAbilityManager(nullptr);
    manager.AddServiceIdListener();
    EXPECT_TRUE(log.Contains(" samgrClient is null."));
}

TEST(AwarenessCenterManagerTest, StartsWhatNeedsAnAbilityWhenItAppears)
{
    const LogCapture log;
    const auto registry = MakeSptr<SystemAbilityManager>();
    SystemAbilityManagerClient::GetInstance().SetSystemAbilityManager(registry);
    const auto manager = AwarenessCenterManager::GetInstance();
    manager->InitAwarenessCenter();
    const auto listener = std::make_shared<RecordingListener>();
    manager->Listen(listener, 0x700, false);

    // Status callbacks come in order: what the first did is done when the second has logged.
    const auto softBus = MakeSptr<FakeSoftBus>();
    registry->AddSystemAbility(SOFTBUS_SERVER_SA_ID, softBus);
    registry->AddSystemAbility(DISTRIBUTED_HARDWARE_DEVICEMANAGER_SA_ID, MakeSptr<FakeDeviceManager>());
    ASSERT_TRUE(log.WaitFor(" DeviceManagerAdapter::Init InitDeviceManager ret:0"));
    EXPECT_EQ(softBus->servedName, "vexo.communication.network_connectivity_ext.distributed");

    const std::string settled = " HandleCommonEventServiceAdded Subscribe.";
    const EventFwk::CommonEventData screenOn(EventFwk::Want().SetAction(CommonEventSupport::COMMON_EVENT_SCREEN_ON));
    for (size_t arrivals = 1; arrivals <= 2; ++arrivals) {
        registry->AddSystemAbility(COMMON_EVENT_SERVICE_ID, MakeSptr<EventFwk::CommonEventServer>());
        ASSERT_TRUE(log.WaitFor(settled, 2 * arrivals - 1));
        ASSERT_TRUE(CommonEventManager::PublishCommonEvent(screenOn));
        EXPECT_TRUE(Eventually([&] { return listener->Take() == std::vector<std::string>{"screen on"}; }));
        registry->RemoveSystemAbility(COMMON_EVENT_SERVICE_ID);
        ASSERT_TRUE(log.WaitFor(settled, 2 * arrivals));
    }
    manager->InitSubAwarenessInstance();  // ends the source while there is a registry
    SystemAbilityManagerClient::GetInstance().SetSystemAbilityManager(nullptr);
}

}  // namespace
}  // namespace Vexo::Tests
