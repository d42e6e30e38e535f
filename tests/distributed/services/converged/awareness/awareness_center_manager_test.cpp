// The front of the awareness subsystem, with a real registry where arrivals matter.
#include "distributed/services/converged/awareness/awareness_center_manager.h"

#include <gtest/gtest.h>

#include "platform/ability/system_ability_manager.h"
#include "platform/events/common_event_server.h"
#include "platform/events/common_event_support.h"
#include "tests/distributed/services/converged/awareness/recording_listener.h"
#include "tests/support/fake_ability_manager.h"
#include "tests/support/log_capture.h"

namespace Vexo::Tests {
namespace {

using EventFwk::CommonEventManager;
using EventFwk::CommonEventSupport;
using NetManagerStandard::AwarenessCenterManager;
using NetManagerStandard::NetInfo;

TEST(AwarenessCenterManagerTest, ListenersNeedEventsAndACallbackAndNetInfoNeedsASource)
{
    AwarenessCenterManager manager;
    NetInfo info;
    EXPECT_EQ(manager.GetCurrentNetInfo(info), 1004500112);
    EXPECT_EQ(manager.Listen(std::make_shared<RecordingListener>(), 0, false), 1004500111);
    EXPECT_EQ(manager.Listen(nullptr, 0x100, false), 1004500111);
    EXPECT_EQ(manager.UnListen(nullptr), 1004500111);
}

TEST(AwarenessCenterManagerTest, SubscribesAgainWhenTheEventServiceReturns)
{
    const LogCapture log;
    const auto registry = MakeSptr<SystemAbilityManager>();
    SystemAbilityManagerClient::GetInstance().SetSystemAbilityManager(registry);
    const auto manager = AwarenessCenterManager::GetInstance();
    manager->InitAwarenessCenter();
    const auto listener = std::make_shared<RecordingListener>();
    manager->Listen(listener, 0x700, false);

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
