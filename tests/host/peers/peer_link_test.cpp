// Tests requests between daemons. They travel over a soft bus on which this device is its own peer.
#include "host/peers/peer_link.h"

#include <gtest/gtest.h>

#include <future>
#include <limits>

#include "platform/ability/ability_ids.h"
#include "platform/base/text.h"
#include "tests/support/fake_ability_manager.h"
#include "tests/support/log_capture.h"
#include "tests/support/loopback_bus.h"
#include "tests/support/manual_timers.h"

namespace Vexo::Host {
namespace {

using namespace std::chrono_literals;
using Vexo::Tests::Eventually;
using Vexo::Tests::LoopbackBus;

constexpr const char* MAC = "02:00:5e:10:00:01";

class PeerLinkTest : public testing::Test {
protected:
    void SetUp() override
    {
        registry.manager->AddSystemAbility(SOFTBUS_SERVER_SA_ID, bus);
        const auto life = std::make_shared<int>();
        serveLives = life;
        link = PeerLink::Make([this, life](const auto& id, const auto& request) { return Serve(id, request); }, timers);
        ASSERT_TRUE(link->Begin());
    }
    void TearDown() override
    {
        gate.Open();
        link->End();
        link.reset();
        EXPECT_TRUE(Eventually([&] { return serveLives.expired(); })) << "a late answer would reach the next test";
        bus->Drain();
    }
    // Answers a request. For a lease request, blocks until the gate is opened.
    PeerAnswer Serve(const std::string& networkId, const PeerRequest& request)
    {
        EXPECT_EQ(networkId, LoopbackBus::PEER);
        asked.Add(request.index());
        if (std::holds_alternative<LeaseRequest>(request)) {
            block();
            return LeaseAnswer{true};
        }
        return std::holds_alternative<FactsRequest>(request) ? PeerAnswer(DeviceFacts{}) : ReleaseAnswer{true};
    }
    Result<PeerAnswer> Ask(const PeerRequest& request, std::chrono::milliseconds within = 10s,
                           Cancellation* cancellation = nullptr, const std::string& whom = LoopbackBus::PEER)
    {
        return link->Ask(whom, request, Clock::System().Now() + within, cancellation);
    }
    ErrorCode ErrorOf(const Result<PeerAnswer>& answer) { return answer ? ErrorCode::SYSTEM : answer.error().code; }
    auto AskLater(const PeerRequest& request, std::chrono::milliseconds within = 10s)
    {
        return std::async(std::launch::async, [this, request, within] { return Ask(request, within); });
    }

    Vexo::Tests::InstalledRegistry registry;
    const sptr<LoopbackBus> bus = MakeSptr<LoopbackBus>();
    Vexo::Tests::ManualTimers timers;
    Vexo::Tests::Trail<size_t> asked;
    Vexo::Tests::Gate gate;
    const std::function<void()> block = gate.Blocker();
    std::weak_ptr<int> serveLives;
    std::shared_ptr<PeerLink> link;
};

TEST_F(PeerLinkTest, RequestsShareOneSessionThatClosesWhenIdle)
{
    auto lease = AskLater(LeaseRequest{MAC});
    asked.WaitFor(1);
    EXPECT_TRUE(std::holds_alternative<DeviceFacts>(Ask(FactsRequest{}).value()));
    EXPECT_TRUE(std::get<ReleaseAnswer>(Ask(ReleaseRequest{}).value()).hasClosedHotspot);
    timers.Advance(PEER_SESSION_IDLE);
    gate.Open();
    EXPECT_TRUE(std::get<LeaseAnswer>(lease.get().value()).isHeld) << "the session was in use";
    EXPECT_EQ(bus->openings, 1);
    timers.Advance(PEER_SESSION_IDLE - 1ms);
    EXPECT_TRUE(Ask(FactsRequest{}));
    timers.Advance(PEER_SESSION_IDLE - 1ms);
    EXPECT_NE(bus->Other(2), 0) << "used since";
    timers.Advance(1ms);
    EXPECT_EQ(bus->Other(2), 0);
    EXPECT_TRUE(Ask(FactsRequest{}));
    EXPECT_EQ(bus->openings, 2);
}

TEST_F(PeerLinkTest, DeadKeptSessionIsReplacedWithinTimeLimit)
{
    ASSERT_TRUE(Ask(FactsRequest{}));
    bus->Break(2);  // the next request detects the closed session
    EXPECT_TRUE(Ask(FactsRequest{}));
    bus->lastMute = 5;  // bytes of the kept session are lost without an error
    const auto began = Clock::System().Now();
    EXPECT_TRUE(Ask(FactsRequest{}));
    EXPECT_LT(Clock::System().Now() - began, PEER_KEPT_SESSION_LIMIT + 1s);
    EXPECT_EQ(bus->openings, 3);
}

TEST_F(PeerLinkTest, EachFailureHasItsCode)
{
    EXPECT_EQ(ErrorOf(Ask(FactsRequest{}, 10s, nullptr, std::string(64, 'b'))), ErrorCode::NOT_FOUND);
    EXPECT_EQ(ErrorOf(Ask(LeaseRequest{MAC}, 20ms)), ErrorCode::TIMED_OUT);
    Cancellation cancellation;
    auto cancelled = std::async(std::launch::async, [&] { return Ask(LeaseRequest{MAC}, 10s, &cancellation); });
    asked.WaitFor(2);
    cancellation.Cancel();
    EXPECT_EQ(ErrorOf(cancelled.get()), ErrorCode::CANCELLED);
    EXPECT_EQ(ErrorOf(Ask(FactsRequest{}, 10s, &cancellation)), ErrorCode::CANCELLED) << "cancelled before";
    EXPECT_TRUE(Ask(FactsRequest{})) << "the session is good";

    bus->lastMute = std::numeric_limits<int>::max();
    auto ended = AskLater(FactsRequest{});
    link->End();
    EXPECT_EQ(ErrorOf(ended.get()), ErrorCode::UNAVAILABLE);
    EXPECT_EQ(ErrorOf(Ask(FactsRequest{})), ErrorCode::UNAVAILABLE);
    bus->lastMute = 0;
    ASSERT_TRUE(link->Begin());
    EXPECT_TRUE(Ask(FactsRequest{})) << "begun anew";
}

TEST_F(PeerLinkTest, DamagedOrMisplacedMessageClosesSessionWithOneLogLine)
{
    const std::string ask = R"({"version":1,"request":1,"ask":"facts"})";
    const std::string answer = R"({"version":1,"request":1,"answer":"unknown"})";
    struct Row {
        bool isForOpener;
        std::string bytes;
    };
    for (const Row& row : std::vector<Row>{{true, "{"},
                                           {false, "{"},
                                           {false, ask + std::string(MAX_PEER_MESSAGE, ' ')},
                                           {true, ask},
                                           {true, R"({"version":1,"request":1,"ask":"dance"})"},
                                           {false, answer}}) {
        ASSERT_TRUE(Ask(FactsRequest{}));
        const int opener = bus->openings * 2;
        const Vexo::Tests::LogCapture log;
        asked.Take();
        for (int i = 0; i < 2; ++i) {
            bus->Deliver(row.isForOpener ? opener : opener + 1, row.bytes);
        }
        bus->Drain();
        EXPECT_EQ(bus->Other(opener), 0) << row.bytes.substr(0, 60);
        EXPECT_EQ(log.Count("a message from " + ShortId(LoopbackBus::PEER) + " is damaged"), 1u);
        EXPECT_TRUE(asked.Take().empty());
    }

    bus->lastMute = std::numeric_limits<int>::max();
    const int next = bus->openings * 2 + 2;
    auto waiting = AskLater(FactsRequest{});
    ASSERT_TRUE(Eventually([&] { return bus->Other(next) != 0; }));
    bus->Deliver(next, "{");
    EXPECT_EQ(ErrorOf(waiting.get()), ErrorCode::REFUSED);
}

TEST_F(PeerLinkTest, DeviceIsServedFourRequestsAtATime)
{
    const Vexo::Tests::LogCapture log;
    std::vector<std::future<Result<PeerAnswer>>> leases;
    for (size_t i = 0; i < MAX_SERVED_REQUESTS; ++i) {
        leases.push_back(AskLater(LeaseRequest{MAC}));
    }
    ASSERT_EQ(asked.WaitFor(MAX_SERVED_REQUESTS).size(), MAX_SERVED_REQUESTS);
    EXPECT_EQ(ErrorOf(Ask(FactsRequest{}, 50ms)), ErrorCode::TIMED_OUT);
    EXPECT_EQ(log.Count("is dropped: too many at a time"), 1u);
    gate.Open();
    for (auto& lease : leases) {
        EXPECT_TRUE(lease.get());
    }
    EXPECT_TRUE(Eventually([&] { return Ask(FactsRequest{}, 50ms).has_value(); }));
}

}  // namespace
}  // namespace Vexo::Host
