// The source that common events feed.
#include "distributed/services/converged/awareness/awareness_services.h"

#include <gmock/gmock.h>

#include <future>

#include "distributed/services/utils/ffrt_utils.h"
#include "platform/events/common_event_server.h"
#include "platform/events/common_event_support.h"
#include "tests/distributed/services/converged/awareness/recording_listener.h"
#include "tests/support/fake_ability_manager.h"
#include "tests/support/log_capture.h"

namespace Vexo::Tests {
namespace {

using namespace std::chrono_literals;
using EventFwk::CommonEventData;
using EventFwk::CommonEventSubscriber;
using EventFwk::CommonEventSupport;
using EventFwk::Want;
using NetManagerStandard::FFRTUtils;
using NetManagerStandard::NetInfo;
using NetManagerStandard::SystemAwareness;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr int32_t ALL_EVENTS = 0x700;

CommonEventData Event(const std::string& action)
{
    return CommonEventData(Want().SetAction(action));
}

CommonEventData Connectivity(int32_t netType, int32_t connState)
{
    Want want = Event(CommonEventSupport::COMMON_EVENT_CONNECTIVITY_CHANGE).GetWant();
    return CommonEventData(want.SetParam(CommonEventSupport::NET_TYPE_PARAMETER, netType), connState);
}

// Keeps the subscriber, and does as told.
class EventService : public IPCObjectStub, public EventFwk::ICommonEventService {
public:
    bool isAccepting = true;
    std::vector<std::shared_ptr<CommonEventSubscriber>> subscribers;
    int removals = 0;

    bool SubscribeCommonEvent(const std::shared_ptr<CommonEventSubscriber>& subscriber) override
    {
        subscribers.push_back(subscriber);
        return isAccepting;
    }
    bool UnSubscribeCommonEvent(const std::shared_ptr<CommonEventSubscriber>&) override
    {
        ++removals;
        return isAccepting;
    }
    bool PublishCommonEvent(const CommonEventData&) override { return false; }
};

TEST(SystemAwarenessTest, DeliversEveryEventAndRemembersTheKnownNetworkTypes)
{
    const InstalledRegistry registry;
    SystemAwareness source;
    const auto listener = std::make_shared<RecordingListener>();
    source.AddCallback(listener, ALL_EVENTS, true);
    EXPECT_THAT(listener->Take(), testing::UnorderedElementsAre("screen off", "battery fine"));

    const std::pair<CommonEventData, std::vector<std::string>> cases[] = {
        {Event(CommonEventSupport::COMMON_EVENT_SCREEN_ON), {"screen on"}},
        {Event(CommonEventSupport::COMMON_EVENT_SCREEN_OFF), {"screen off"}},
        {Event(CommonEventSupport::COMMON_EVENT_BATTERY_LOW), {"battery low"}},
        {Connectivity(6, 2), {"net 6 2"}},
        {Connectivity(0, 5), {"net 0 5"}},
        {Connectivity(3, 4), {"net 3 4"}},
        {Connectivity(3, 0), {"net 3 0"}},
        {Event(CommonEventSupport::COMMON_EVENT_CONNECTIVITY_CHANGE), {"net -1 0"}},
        {Connectivity(7, 3), {"net 7 3"}},
        {Event("something.else"), {}},
    };
    for (const auto& [event, calls] : cases) {
        source.HandleSystemEvent(event);
        EXPECT_EQ(listener->Take(), calls);
    }
    NetInfo info;
    EXPECT_EQ(source.GetCurrentNetInfo(info), 0);
    EXPECT_THAT(info.connStates, ElementsAre(5, 0, 0, 0, 0, 0, 2));

    source.NotifyOnFirstRegister(listener, 0x200);
    EXPECT_THAT(listener->Take(), ElementsAre("net 0 5", "net 6 2"));
    source.InitLocalStateCache();
    source.NotifyOnFirstRegister(listener, 0x200);
    EXPECT_THAT(listener->Take(), IsEmpty());
}

TEST(SystemAwarenessTest, SubscribesOnceTheServiceIsThereAndAgainOnlyAfterUnsubscribing)
{
    const LogCapture log;
    InstalledRegistry registry;
    {
        SystemAwareness source;
        EXPECT_TRUE(log.Contains(" Subscribe:CES SA not ready, wait for the SA Added callback."));
        const auto service = registry.Add<EventService>(COMMON_EVENT_SERVICE_ID);
        service->isAccepting = false;
        source.Subscribe();
        EXPECT_TRUE(log.Contains(" system event register fail."));
        service->isAccepting = true;
        source.Subscribe();
        EXPECT_EQ(service->subscribers.size(), 1U) << "a refused registration counts as subscribed";

        source.UnSubscribe();
        source.UnSubscribe();
        EXPECT_EQ(service->removals, 1);
        source.Subscribe();
        ASSERT_EQ(service->subscribers.size(), 2U);
        EXPECT_THAT(service->subscribers[1]->GetSubscribeInfo().GetMatchingSkills().GetEvents(),
                    ElementsAre(CommonEventSupport::COMMON_EVENT_SCREEN_ON, CommonEventSupport::COMMON_EVENT_SCREEN_OFF,
                                CommonEventSupport::COMMON_EVENT_BATTERY_LOW,
                                CommonEventSupport::COMMON_EVENT_CONNECTIVITY_CHANGE));
        registry.manager->RemoveSystemAbility(COMMON_EVENT_SERVICE_ID);
    }
    EXPECT_TRUE(log.Contains(" system event unregister fail."));
    EXPECT_TRUE(log.Contains(" ~SystemAwareness"));
}

TEST(SystemAwarenessTest, AnEventThatIsStillQueuedWhenItsSourceGoesIsDropped)
{
    InstalledRegistry registry;
    const auto service = registry.Add<EventService>(COMMON_EVENT_SERVICE_ID);
    const auto listener = std::make_shared<RecordingListener>();
    auto source = std::make_unique<SystemAwareness>();
    source->AddCallback(listener, ALL_EVENTS, false);
    const std::shared_ptr<CommonEventSubscriber> subscriber = service->subscribers.at(0);

    subscriber->OnReceiveEvent(Connectivity(1, 3));
    FFRTUtils::SubmitTaskSync([] {});  // waits for the event's task too
    EXPECT_THAT(listener->Take(), ElementsAre("net 1 3"));

    source.reset();
    subscriber->OnReceiveEvent(Connectivity(1, 5));
    FFRTUtils::SubmitTaskSync([] {});
    EXPECT_THAT(listener->Take(), IsEmpty());
}

TEST(SystemAwarenessTest, ASourceGoesOnlyAfterTheHandlerThatRuns)
{
    struct BlockedListener : RecordingListener {
        std::promise<void> entered;
        std::shared_future<void> sourceGone;
        std::future_status whileCalled{};
        void OnBatteryLowChanged(bool) override
        {
            entered.set_value();
            whileCalled = sourceGone.wait_for(100ms);
        }
    };
    InstalledRegistry registry;
    const auto service = registry.Add<EventService>(COMMON_EVENT_SERVICE_ID);
    const auto listener = std::make_shared<BlockedListener>();
    std::promise<void> gone;
    listener->sourceGone = gone.get_future().share();
    auto source = std::make_unique<SystemAwareness>();
    source->AddCallback(listener, ALL_EVENTS, false);
    service->subscribers.at(0)->OnReceiveEvent(Event(CommonEventSupport::COMMON_EVENT_BATTERY_LOW));
    listener->entered.get_future().wait();
    source.reset();
    gone.set_value();
    EXPECT_EQ(listener->whileCalled, std::future_status::timeout);
}

}  // namespace
}  // namespace Vexo::Tests
