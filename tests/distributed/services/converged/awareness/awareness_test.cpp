// Tests AwarenessCenterManager and SystemAwareness, which turns common events into calls of its listeners. Covers
// registration, event masks, current states and events.
#include "distributed/services/converged/awareness/awareness_services.h"

#include <gmock/gmock.h>

#include <atomic>
#include <future>

#include "distributed/services/converged/awareness/awareness_center_manager.h"
#include "distributed/services/utils/ffrt_utils.h"
#include "platform/events/common_event_server.h"
#include "platform/events/common_event_support.h"
#include "tests/support/fake_ability_manager.h"
#include "tests/support/log_capture.h"

namespace Vexo::Tests {
namespace {

using EventFwk::CommonEventData;
using EventFwk::CommonEventManager;
using EventFwk::CommonEventSubscriber;
using EventFwk::CommonEventSupport;
using EventFwk::Want;
using NetManagerStandard::AwarenessCenterManager;
using NetManagerStandard::FFRTUtils;
using NetManagerStandard::NetInfo;
using NetManagerStandard::SystemAwareness;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

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

// Records each callback in a trail as one word and its numbers, such as "net 1 3". Any thread may call it.
class RecordingListener : public NetManagerStandard::AwarenessCenterCallback, public Trail<std::string> {
public:
    void OnScreenStateChanged(bool isScreenOn, std::shared_ptr<AppExecFwk::EventRunner>) override
    {
        Add(isScreenOn ? "screen on" : "screen off");
    }
    void OnConnectivityChanged(int netType, int connState) override
    {
        Add("net " + std::to_string(netType) + " " + std::to_string(connState));
    }
    void OnBatteryLowChanged(bool isLow) override { Add(isLow ? "battery low" : "battery fine"); }
};

// A fake of the common-event service. It stores its subscribers, and accepts subscriptions only if isAccepting is true.
class EventService : public IPCObjectStub, public EventFwk::ICommonEventService {
public:
    bool isAccepting = true;
    std::atomic<bool> isUnsubscribed{false};
    std::vector<std::shared_ptr<CommonEventSubscriber>> subscribers;

    bool SubscribeCommonEvent(const std::shared_ptr<CommonEventSubscriber>& subscriber) override
    {
        subscribers.push_back(subscriber);
        return isAccepting;
    }
    bool UnSubscribeCommonEvent(const std::shared_ptr<CommonEventSubscriber>&) override
    {
        return isUnsubscribed = true;
    }
    bool PublishCommonEvent(const CommonEventData&) override { return false; }
};

class SystemAwarenessTest : public testing::Test {
protected:
    InstalledRegistry registry;
    const sptr<EventService> service = registry.Add<EventService>(COMMON_EVENT_SERVICE_ID);
    const std::shared_ptr<RecordingListener> listener = std::make_shared<RecordingListener>();
    std::unique_ptr<SystemAwareness> source = std::make_unique<SystemAwareness>();
};

TEST_F(SystemAwarenessTest, FilterKeepsOfferedEventsSharingABit)
{
    source->AddAwareEventsToSet(0x1800);
    const std::pair<int32_t, int32_t> cases[] = {
        {0, 0}, {-1, 0}, {0x2000, 0}, {0x2100, 0x100}, {0x800, 0x1800}, {0x7fffffff, 0x1f00},
    };
    for (const auto& [requested, filtered] : cases) {
        EXPECT_EQ(source->GetFilteredEvents(requested), filtered) << requested;
    }
}

TEST_F(SystemAwarenessTest, NewRegistrationReplacesMaskAndMayReportCurrentState)
{
    source->AddNotifyNowFuncToMap(0x100, [](const auto& callback) { callback->OnBatteryLowChanged(true); });
    source->AddCallback(listener, 0x100, false);
    source->AddCallback(listener, 0xc00, true);
    EXPECT_THAT(listener->Take(), ElementsAre("battery fine"));
    source->AddCallback(listener, 0x800, false);  // the source does not offer this event, so the earlier mask stays
    source->RemoveCallback(std::make_shared<RecordingListener>());
    source->HandleSystemEvent(Event(CommonEventSupport::COMMON_EVENT_SCREEN_ON));
    source->HandleSystemEvent(Event(CommonEventSupport::COMMON_EVENT_BATTERY_LOW));
    EXPECT_THAT(listener->Take(), ElementsAre("battery low"));
    source->RemoveCallback(listener);
    source->HandleSystemEvent(Event(CommonEventSupport::COMMON_EVENT_BATTERY_LOW));
    EXPECT_THAT(listener->Take(), IsEmpty());
    source->NotifyOnFirstRegister(listener, 0x500);
    EXPECT_THAT(listener->Take(), UnorderedElementsAre("screen on", "battery low"))
        << "an event's first function stays";
}

TEST_F(SystemAwarenessTest, DeliversEveryEventAndRemembersKnownNetworkTypes)
{
    source->AddCallback(listener, ALL_EVENTS, true);
    EXPECT_THAT(listener->Take(), UnorderedElementsAre("screen off", "battery fine"));
    const std::pair<CommonEventData, std::vector<std::string>> cases[] = {
        {Event(CommonEventSupport::COMMON_EVENT_SCREEN_OFF), {"screen off"}},
        {Connectivity(6, 2), {"net 6 2"}},
        {Connectivity(0, 5), {"net 0 5"}},
        {Event(CommonEventSupport::COMMON_EVENT_CONNECTIVITY_CHANGE), {"net -1 0"}},
        {Connectivity(7, 3), {"net 7 3"}},
    };
    for (const auto& [event, calls] : cases) {
        source->HandleSystemEvent(event);
        EXPECT_EQ(listener->Take(), calls);
    }
    NetInfo info;
    EXPECT_EQ(source->GetCurrentNetInfo(info), 0);
    EXPECT_THAT(info.connStates, ElementsAre(5, 0, 0, 0, 0, 0, 2));
    source->NotifyOnFirstRegister(listener, 0x200);
    EXPECT_THAT(listener->Take(), ElementsAre("net 0 5", "net 6 2"));
}

TEST_F(SystemAwarenessTest, RefusedSubscriptionCountsAsSubscribed)
{
    source->UnSubscribe();
    service->isAccepting = false;
    source->Subscribe();
    source->Subscribe();
    EXPECT_EQ(service->subscribers.size(), 2U);
}

TEST_F(SystemAwarenessTest, QueuedEventIsDroppedWhenSourceIsDestroyed)
{
    source->AddCallback(listener, ALL_EVENTS, false);
    for (const size_t heard : {size_t{1}, size_t{0}}) {
        service->subscribers.at(0)->OnReceiveEvent(Connectivity(1, 3));
        FFRTUtils::SubmitTaskSync([] {});  // also waits for the task of the event
        EXPECT_EQ(listener->Take().size(), heard);
        source.reset();
    }
}

TEST_F(SystemAwarenessTest, SourceIsDestroyedOnlyAfterRunningHandler)
{
    struct BlockedListener : RecordingListener {
        explicit BlockedListener(EventService& events) : service(events) {}
        void OnBatteryLowChanged(bool) override
        {
            entered.set_value();
            hasEnded = Eventually([this] { return service.isUnsubscribed.load(); });
        }
        EventService& service;
        std::promise<void> entered;
        std::atomic<bool> hasEnded{false};
    };
    const auto blocked = std::make_shared<BlockedListener>(*service);
    source->AddCallback(blocked, ALL_EVENTS, false);
    service->subscribers.at(0)->OnReceiveEvent(Event(CommonEventSupport::COMMON_EVENT_BATTERY_LOW));
    blocked->entered.get_future().wait();
    source.reset();
    EXPECT_TRUE(blocked->hasEnded);
}

TEST(AwarenessCenterManagerTest, ListenNeedsEventsAndCallbackAndNetInfoNeedsSource)
{
    AwarenessCenterManager manager;
    NetInfo info;
    EXPECT_EQ(manager.GetCurrentNetInfo(info), 1004500112);
    EXPECT_EQ(manager.Listen(std::make_shared<RecordingListener>(), 0, false), 1004500111);
    EXPECT_EQ(manager.Listen(nullptr, 0x100, false), 1004500111);
    EXPECT_EQ(manager.UnListen(nullptr), 1004500111);
}

TEST(AwarenessCenterManagerTest, SubscribesAgainWhenEventServiceReturns)
{
    const LogCapture log;
    const InstalledRegistry registry;
    const auto manager = AwarenessCenterManager::GetInstance();
    manager->InitAwarenessCenter();
    const auto listener = std::make_shared<RecordingListener>();
    manager->Listen(listener, 0x700, false);

    const std::string settled = " HandleCommonEventServiceAdded Subscribe.";
    const CommonEventData screenOn = Event(CommonEventSupport::COMMON_EVENT_SCREEN_ON);
    for (size_t arrivals = 1; arrivals <= 2; ++arrivals) {
        registry.manager->AddSystemAbility(COMMON_EVENT_SERVICE_ID, MakeSptr<EventFwk::CommonEventServer>());
        ASSERT_TRUE(log.WaitFor(settled, 2 * arrivals - 1));
        ASSERT_TRUE(CommonEventManager::PublishCommonEvent(screenOn));
        EXPECT_TRUE(Eventually([&] { return listener->Take() == std::vector<std::string>{"screen on"}; }));
        registry.manager->RemoveSystemAbility(COMMON_EVENT_SERVICE_ID);
        ASSERT_TRUE(log.WaitFor(settled, 2 * arrivals));
    }
    manager->InitSubAwarenessInstance();  // destroys the earlier source while there is a registry
}

}  // namespace
}  // namespace Vexo::Tests
