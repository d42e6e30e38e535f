#include "platform/events/common_event_server.h"

#include <gtest/gtest.h>

#include "platform/ability/ability_ids.h"
#include "tests/platform/events/recording_subscriber.h"
#include "tests/support/fake_ability_manager.h"

namespace Vexo::EventFwk {
namespace {

using Tests::RecordingSubscriber;
using Lines = std::vector<std::string>;

CommonEventData Event(const std::string& action, int32_t code = 0)
{
    Want want;
    want.SetAction(action).SetParam(CommonEventSupport::NET_TYPE_PARAMETER, 1);
    return CommonEventData(want, code);
}

TEST(CommonEventServerTest, WantedEventsArriveInOrderOnAnotherThread)
{
    const auto server = MakeSptr<CommonEventServer>();
    const auto subscriber = RecordingSubscriber::To({"a", "b"});
    ASSERT_TRUE(server->SubscribeCommonEvent(subscriber));
    Lines expected;
    for (int32_t i = 0; i < 20; ++i) {
        const std::string action = i % 2 == 0 ? "a" : "b";
        EXPECT_TRUE(server->PublishCommonEvent(Event(action, i)));
        EXPECT_TRUE(server->PublishCommonEvent(Event("unwanted", i)));
        expected.push_back(action + " 1 " + std::to_string(i));
    }
    EXPECT_EQ(subscriber->WaitFor(20), expected);
    EXPECT_NE(subscriber->Thread(), std::this_thread::get_id());
}

TEST(CommonEventServerTest, PublishReturnsWhileASubscriberIsBusy)
{
    const auto server = MakeSptr<CommonEventServer>();
    const auto subscriber = RecordingSubscriber::To({"a"});
    server->SubscribeCommonEvent(subscriber);
    subscriber->Hold(true);
    EXPECT_TRUE(server->PublishCommonEvent(Event("a", 1)));
    EXPECT_EQ(subscriber->WaitFor(1).size(), 1U);
    EXPECT_TRUE(server->PublishCommonEvent(Event("a", 2)));
    subscriber->Hold(false);
    EXPECT_EQ(subscriber->WaitFor(2), (Lines{"a 1 1", "a 1 2"}));
}

TEST(CommonEventServerTest, UnsubscribingDropsWhatWasPublishedBeforeAndResubscribingDoesNotBringItBack)
{
    const auto server = MakeSptr<CommonEventServer>();
    const auto busy = RecordingSubscriber::To({"a"});
    const auto leaving = RecordingSubscriber::To({"a"});
    server->SubscribeCommonEvent(busy);
    server->SubscribeCommonEvent(leaving);
    busy->Hold(true);
    server->PublishCommonEvent(Event("a", 1));
    busy->WaitFor(1);
    EXPECT_TRUE(server->UnSubscribeCommonEvent(leaving));
    EXPECT_TRUE(server->SubscribeCommonEvent(leaving));
    busy->Hold(false);
    server->PublishCommonEvent(Event("a", 2));
    EXPECT_EQ(leaving->WaitFor(1), (Lines{"a 1 2"}));
}

TEST(CommonEventServerTest, RefusesWhatCannotBeSubscribedOrPublished)
{
    const auto server = MakeSptr<CommonEventServer>();
    const auto subscriber = RecordingSubscriber::To({"a"});
    EXPECT_FALSE(server->SubscribeCommonEvent(nullptr));
    EXPECT_TRUE(server->SubscribeCommonEvent(subscriber));
    EXPECT_FALSE(server->SubscribeCommonEvent(subscriber));
    EXPECT_TRUE(server->UnSubscribeCommonEvent(subscriber));
    EXPECT_FALSE(server->UnSubscribeCommonEvent(subscriber));
    EXPECT_FALSE(server->PublishCommonEvent(Event("")));
}

TEST(CommonEventManagerTest, ActsOnTheAbilityThatIsPresentNow)
{
    const auto subscriber = RecordingSubscriber::To({"a"});
    EXPECT_FALSE(CommonEventManager::PublishCommonEvent(Event("a")));
    Tests::InstalledRegistry registry;
    EXPECT_FALSE(CommonEventManager::SubscribeCommonEvent(subscriber));
    registry.manager->AddSystemAbility(COMMON_EVENT_SERVICE_ID, MakeSptr<CommonEventServer>());
    EXPECT_TRUE(CommonEventManager::SubscribeCommonEvent(subscriber));
    EXPECT_TRUE(CommonEventManager::PublishCommonEvent(Event("a", 3)));
    EXPECT_EQ(subscriber->WaitFor(1), (Lines{"a 1 3"}));
    EXPECT_TRUE(CommonEventManager::UnSubscribeCommonEvent(subscriber));
    registry.manager->RemoveSystemAbility(COMMON_EVENT_SERVICE_ID);
    EXPECT_FALSE(CommonEventManager::UnSubscribeCommonEvent(subscriber));
}

}  // namespace
}  // namespace Vexo::EventFwk
