#include "platform/events/common_event_server.h"

#include <gtest/gtest.h>

#include "platform/ability/ability_ids.h"
#include "tests/support/fake_ability_manager.h"
#include "tests/support/recording_subscriber.h"

namespace Vexo::EventFwk {
namespace {

using Lines = std::vector<std::string>;

CommonEventData Event(const std::string& action, int32_t code = 0)
{
    Want want;
    want.SetAction(action).SetParam(CommonEventSupport::NET_TYPE_PARAMETER, 1);
    return CommonEventData(want, code);
}

class CommonEventServerTest : public testing::Test {
protected:
    const sptr<CommonEventServer> server_ = MakeSptr<CommonEventServer>();
    const std::shared_ptr<Tests::RecordingSubscriber> subscriber_ = Tests::RecordingSubscriber::To({"a", "b"});
};

TEST_F(CommonEventServerTest, MatchingEventsArriveInOrderWhileSubscriberIsBusy)
{
    ASSERT_TRUE(server_->SubscribeCommonEvent(subscriber_));
    subscriber_->Hold(true);
    Lines expected;
    for (int32_t i = 0; i < 20; ++i) {
        const std::string action = i % 2 == 0 ? "a" : "b";
        EXPECT_TRUE(server_->PublishCommonEvent(Event(action, i)));
        EXPECT_TRUE(server_->PublishCommonEvent(Event("unwanted", i)));
        expected.push_back(action + " 1 " + std::to_string(i));
    }
    EXPECT_EQ(subscriber_->WaitFor(1).size(), 1U);
    subscriber_->Hold(false);
    EXPECT_EQ(subscriber_->WaitFor(20), expected);
    EXPECT_NE(subscriber_->thread.load(), std::this_thread::get_id());
}

TEST_F(CommonEventServerTest, UnsubscribeDropsPendingEventsForGood)
{
    const auto leaving = Tests::RecordingSubscriber::To({"a"});
    server_->SubscribeCommonEvent(subscriber_);
    server_->SubscribeCommonEvent(leaving);
    subscriber_->Hold(true);
    server_->PublishCommonEvent(Event("a", 1));
    subscriber_->WaitFor(1);
    EXPECT_TRUE(server_->UnSubscribeCommonEvent(leaving));
    EXPECT_TRUE(server_->SubscribeCommonEvent(leaving));
    subscriber_->Hold(false);
    server_->PublishCommonEvent(Event("a", 2));
    EXPECT_EQ(leaving->WaitFor(1), (Lines{"a 1 2"}));
}

TEST_F(CommonEventServerTest, CallsFailWithoutServerOrWithInvalidArguments)
{
    EXPECT_FALSE(CommonEventManager::PublishCommonEvent(Event("a")));
    Tests::InstalledRegistry registry;
    EXPECT_FALSE(CommonEventManager::SubscribeCommonEvent(subscriber_));
    registry.manager->AddSystemAbility(COMMON_EVENT_SERVICE_ID, server_);
    EXPECT_FALSE(CommonEventManager::SubscribeCommonEvent(nullptr));
    EXPECT_FALSE(CommonEventManager::PublishCommonEvent(Event("")));
    EXPECT_FALSE(CommonEventManager::UnSubscribeCommonEvent(subscriber_));
    EXPECT_TRUE(CommonEventManager::SubscribeCommonEvent(subscriber_));
    EXPECT_FALSE(CommonEventManager::SubscribeCommonEvent(subscriber_));
    EXPECT_TRUE(CommonEventManager::UnSubscribeCommonEvent(subscriber_));
    registry.manager->RemoveSystemAbility(COMMON_EVENT_SERVICE_ID);
    EXPECT_FALSE(CommonEventManager::SubscribeCommonEvent(subscriber_));
}

}  // namespace
}  // namespace Vexo::EventFwk
