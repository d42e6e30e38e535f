#include "distributed/services/service/distnet_service.h"

#include <gtest/gtest.h>

#include <future>

#include "distributed/services/link/soft_bus_adapter.h"
#include "distributed/services/service/distnet_errors.h"
#include "distributed/services/service/distnet_event_handler.h"
#include "distributed/services/service/qu_trace.h"
#include "platform/dfx/sinks.h"
#include "platform/eventloop/event_runner.h"
#include "tests/support/event_capture.h"
#include "tests/support/fake_ability_manager.h"
#include "tests/support/fake_collaboration.h"
#include "tests/support/fake_device_manager.h"
#include "tests/support/fake_soft_bus.h"
#include "tests/support/log_capture.h"

namespace Vexo::NetManagerStandard {
namespace {

using namespace Tests;
using namespace std::chrono_literals;

const std::string PEER(64, 'c');
const std::string PEER_IN_EVENTS = "DEVICE_ID=ccccc**ccccc";
constexpr uint32_t UNTOUCHED = 77;

class DistNetServiceTest : public testing::Test {
protected:
    // Waits for the start-up task too, so that it logs into this test's capture only.
    void Start()
    {
        service_.OnStart();
        FFRTUtils::SubmitTaskSync([] {});
    }
    void TearDown() override { service_.OnStop(); }

    const LogCapture log_;
    const EventCapture events_;
    InstalledRegistry registry_;
    DistNetService& service_ = DistNetService::GetInstance();
};

TEST_F(DistNetServiceTest, RegistersAtLoadAndPublishesOnceAStart)
{
    EXPECT_EQ(SystemAbility::FindRegistered(1163), &service_);
    EXPECT_EQ(service_.GetClassName(), "DistNetService");
    registry_.manager->addResult = ERR_INVALID_ARGUMENT;
    Start();
    EXPECT_TRUE(log_.Contains(" Register to sa manager failed"));
    EXPECT_TRUE(log_.Contains(" init failed"));

    registry_.manager->addResult = ERR_OK;
    Start();
    EXPECT_TRUE(log_.Contains(" DistNetService::OnStart end"));
    EXPECT_EQ(registry_.manager->GetSystemAbility(1163), service_.AsObject());
    Start();
    EXPECT_TRUE(log_.Contains(" the state is already running"));
    EXPECT_EQ(registry_.manager->additions, 2);

    service_.OnStop();
    service_.OnStop();
    EXPECT_EQ(log_.Count(" DistNetService::OnStop end"), 1U);
    Start();
    EXPECT_EQ(registry_.manager->additions, 3) << "publishing again after a stop";
}

TEST_F(DistNetServiceTest, ReleaseUnloadsUnlessThereIsNoManagerOrItRefuses)
{
    Start();
    uint32_t state = UNTOUCHED;
    EXPECT_EQ(service_.StartService(state), 0);
    EXPECT_EQ(state, static_cast<uint32_t>(service_.GetAbilityState()));

    state = UNTOUCHED;
    registry_.manager->unloadResult = ERR_NOT_ON_DEMAND;
    EXPECT_EQ(service_.ReleaseService(state), DISTNET_ERR_GENERAL);
    EXPECT_TRUE(log_.Contains(" UnloadSystemAbility Failed. 3"));
    SystemAbilityManagerClient::GetInstance().SetSystemAbilityManager(nullptr);
    EXPECT_EQ(service_.ReleaseService(state), DISTNET_ERR_GENERAL);
    EXPECT_TRUE(log_.Contains(" ReleaseServiceAsync failed"));
    EXPECT_EQ(state, UNTOUCHED);

    SystemAbilityManagerClient::GetInstance().SetSystemAbilityManager(registry_.manager);
    registry_.manager->unloadResult = ERR_OK;
    EXPECT_EQ(service_.ReleaseService(state), 0);
    EXPECT_EQ(state, static_cast<uint32_t>(service_.GetAbilityState()));
    EXPECT_EQ(registry_.manager->unloads, 2);
}

TEST_F(DistNetServiceTest, OperationsThatNeedTheServiceRefuseWhileItIsStopped)
{
    registry_.Add<FakeDeviceManager>(DISTRIBUTED_HARDWARE_DEVICEMANAGER_SA_ID);
    std::vector<DmDeviceInfo> devices;
    std::string text;
    EXPECT_EQ(service_.StartDistributedNetwork(0, 0, PEER), 2200003);
    EXPECT_EQ(service_.GetAvailableDeviceList(devices), 2200003);
    EXPECT_EQ(service_.GetRemoteDeviceInfo({"bssid"}, text), 2200003);
    EXPECT_TRUE(log_.Contains(" IsSameAccount verify failed."));
    EXPECT_TRUE(log_.Contains(" GetAvailableDeviceList service state no run"));
    EXPECT_TRUE(log_.Contains(" GetRemoteDeviceInfo service state no run"));
    EXPECT_EQ(service_.StopDistributedNetwork(0, 0, PEER), 0);
    EXPECT_TRUE(events_.Events().empty());
}

TEST_F(DistNetServiceTest, EventHandlerRunsItsTwoEventsAndIgnoresOthers)
{
    Start();
    const auto handler = std::make_shared<DistNetEventHandler>(AppExecFwk::EventRunner::Create("test"), &service_);
    for (const uint32_t id : {0U, 1U, 4U, 3U, 2U}) {
        ASSERT_TRUE(handler->SendEvent(id));
    }
    // The last event's last line: nothing runs on the handler's thread when the test ends.
    ASSERT_TRUE(log_.WaitFor(" DistNetService::TryToLinkFromSoftBus begin"));
    EXPECT_EQ(log_.Count(" DistNetService::HandleRequestPathTimeout begin"), 1U);
    handler->ProcessEvent(nullptr);
    DistNetEventHandler(nullptr, nullptr).ProcessEvent(AppExecFwk::InnerEvent::Get(3U));
    EXPECT_EQ(log_.Count(" DistNetService::HandleStopDistributedNetwork begin"), 1U);
}

class StartNetworkTest : public DistNetServiceTest {
protected:
    StartNetworkTest()
    {
        SoftBusAdapter::GetInstance()->CreateSoftBusSessionServer();
        softBus_->onOpen = [this] {
            log_.WaitFor(" StartPending: sessionId=7");
            softBus_->listener.OnSessionOpened(7, openedWith_);
        };
        softBus_->onSend = [this](const auto&) {
            log_.WaitFor(" SendStartHotspotMessage wait result");
            SoftBusAdapter::GetInstance()->CloseSessionCondition(7, outcome_);
        };
        Start();
    }
    int openedWith_ = 0;
    int outcome_ = 0;
    sptr<FakeDeviceManager> deviceManager_ = registry_.Add<FakeDeviceManager>(DISTRIBUTED_HARDWARE_DEVICEMANAGER_SA_ID);
    sptr<FakeCollaboration> collaboration_ = registry_.Add<FakeCollaboration>(COLL_FWK_SA_ID);
    sptr<FakeSoftBus> softBus_ = registry_.Add<FakeSoftBus>(SOFTBUS_SERVER_SA_ID);
};

TEST_F(StartNetworkTest, SuccessIsReportedAndTraced)
{
    struct Spans : QuviewDFX::TraceSink {
        void Write(QuviewDFX::TracePhase phase, uint64_t tag, std::string_view name, int32_t) noexcept override
        {
            const std::lock_guard lock(mutex);
            text += std::to_string(static_cast<int>(phase)) + "/" + std::to_string(tag) + "/" + std::string(name) + ";";
        }
        std::mutex mutex;
        std::string text;
    };
    const auto spans = std::make_shared<Spans>();
    QuviewDFX::SetTraceSink(spans);
    EXPECT_EQ(service_.StartDistributedNetwork(1, 2, PEER), 0);
    QuTrace::StartAsyncQuTrace("span", 3);
    QuTrace::FinishAsyncQuTrace("span", 3);
    QuviewDFX::SetTraceSink(nullptr);

    EXPECT_EQ(collaboration_->target, "1163|" + PEER + "|1163");
    EXPECT_EQ(events_.Events(),
              (std::vector<std::string>{"NETMANAGER_UE NET_START_DIST_NETWORK_BEHAVIOR 4 " + PEER_IN_EVENTS,
                                        "NETMANAGER_UE NET_START_DIST_NETWORK_SUCCESS 4 " + PEER_IN_EVENTS}));
    EXPECT_EQ(spans->text,
              "0/8388608/DistNetService StartDistributedNetworkAsync start;1/8388608/;"
              "2/8388608/span;3/8388608/span;");
    EXPECT_TRUE(log_.Contains(" FinishSyncQuTrace value:DistNetService StartDistributedNetworkAsync end"));
}

struct StartFailure {
    const char* name;
    int32_t collaborationCode;
    int openId;
    int openedWith;
    int outcome;
    int32_t expected;
    const char* event;

    friend void PrintTo(const StartFailure& failure, std::ostream* out) { *out << failure.name; }
};

class StartFailureTest : public StartNetworkTest, public testing::WithParamInterface<StartFailure> {};

TEST_P(StartFailureTest, EndsWithItsCodeAndOneFaultReport)
{
    const StartFailure& failure = GetParam();
    collaboration_->startCode = failure.collaborationCode;
    softBus_->openResult = failure.openId;
    openedWith_ = failure.openedWith;
    outcome_ = failure.outcome;
    EXPECT_EQ(service_.StartDistributedNetwork(0, 0, PEER), failure.expected);
    const std::vector<std::string> events = events_.Events();
    ASSERT_EQ(events.size(), 2U);
    EXPECT_EQ(events[1], "NETMANAGER_UE NET_START_DIST_NETWORK_FAIL 4 " + PEER_IN_EVENTS + " " + failure.event);
    EXPECT_TRUE(log_.Contains(" SoftBusStartDisNet error"));
    EXPECT_EQ(softBus_->AllOpened().empty(), failure.collaborationCode != 0) << "the peer is woken first";
}

INSTANTIATE_TEST_SUITE_P(
    , StartFailureTest,
    testing::Values(StartFailure{"Collaboration", 4, 7, 0, 0, 1004500002,
                                 "SESSION_ID=0 ERROR_TYPE=-100 ERROR_MSG=AP connect fail, connect error"},
                    StartFailure{"OpenRefused", 0, -3, 0, 0, 1004500003,
                                 "SESSION_ID=0 ERROR_TYPE=-99 ERROR_MSG=AP connect fail, connect error"},
                    StartFailure{"OpenFailed", 0, 7, -5, 0, 1004500003,
                                 "SESSION_ID=0 ERROR_TYPE=-99 ERROR_MSG=AP connect fail, connect error"},
                    StartFailure{"PeersHotspot", 0, 7, 0, -97, 1004500003,
                                 "SESSION_ID=7 ERROR_TYPE=-97 ERROR_MSG=AP connect fail, save wlan error"},
                    StartFailure{"RequestOpen", 0, 7, 0, -98, 1004500003,
                                 "SESSION_ID=7 ERROR_TYPE=-98 ERROR_MSG=AP connect fail, request open hotspot error"},
                    StartFailure{"AddConfig", 0, 7, 0, -94, 1004500003,
                                 "SESSION_ID=7 ERROR_TYPE=-96 ERROR_MSG=AP connect fail, request error"},
                    StartFailure{"Connect", 0, 7, 0, -93, 1004500003,
                                 "SESSION_ID=7 ERROR_TYPE=-96 ERROR_MSG=AP connect fail, request error"}),
    [](const auto& testCase) { return std::string(testCase.param.name); });

TEST_F(StartNetworkTest, PeerOfAnotherAccountIsRefusedWithoutATrace)
{
    EXPECT_EQ(service_.StartDistributedNetwork(0, 0, "stranger" + PEER), 2200003);
    EXPECT_TRUE(log_.Contains(" IsSameAccount verify failed."));
    EXPECT_TRUE(events_.Events().empty());
    EXPECT_TRUE(collaboration_->target.empty());
}

TEST_F(StartNetworkTest, StartsAtTheSameTimeRunOneAfterTheOther)
{
    std::mutex mutex;
    std::condition_variable entered;
    int inside = 0;
    collaboration_->startCode = CollaborationFwk::COLLABORATION_PEER_FAILED;
    collaboration_->onStart = [&] {
        std::unique_lock lock(mutex);
        ++inside;
        entered.notify_all();
        EXPECT_FALSE(entered.wait_for(lock, 50ms, [&] { return inside > 1; }));
        --inside;
    };
    auto other = std::async(std::launch::async, [this] { return service_.StartDistributedNetwork(0, 0, PEER); });
    EXPECT_EQ(service_.StartDistributedNetwork(0, 0, PEER), 1004500002);
    EXPECT_EQ(other.get(), 1004500002);
}

}  // namespace
}  // namespace Vexo::NetManagerStandard
