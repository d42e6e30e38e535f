#include "platform/collaboration/collaboration_ability.h"

#include <gtest/gtest.h>

#include <functional>
#include <future>
#include <thread>

#include "platform/collaboration/collaboration_server.h"
#include "tests/platform/collaboration/loopback_bus.h"
#include "tests/support/fake_ability_manager.h"
#include "tests/support/log_capture.h"

namespace Vexo::CollaborationFwk {
namespace {

using Vexo::Tests::LogCapture;
using Vexo::Tests::LoopbackBus;
using Vexo::Tests::WAIT_LIMIT;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr int32_t SERVICE = COMM_DISTRIBUTED_NET_ABILITY_ID;

// A registry that loads the service at once, and notes what a status listener would find when it is announced.
class Registry : public Vexo::Tests::FakeAbilityManager {
public:
    std::atomic<int32_t> loadResult{ERR_OK};
    std::atomic<int> loads{0};
    std::atomic<int> announcements{0};
    std::atomic<int> inboundWhenAnnounced{0};

    int32_t LoadSystemAbility(int32_t id) override
    {
        EXPECT_EQ(id, SERVICE);
        ++loads;
        return loadResult;
    }
    int32_t AnnounceSystemAbility(int32_t id) override
    {
        EXPECT_EQ(id, COLL_FWK_SA_ID);
        std::vector<sptr<StartInfo>> infos;
        CollaborationAbility::GetInstance().GetCollaborationStartInfos(SERVICE, infos);
        for (const auto& info : infos) {
            inboundWhenAnnounced += info->IsInbound() ? 1 : 0;
        }
        ++announcements;
        return ERR_OK;
    }
};

class CollaborationTest : public testing::Test {
protected:
    void SetUp() override
    {
        SystemAbilityManagerClient::GetInstance().SetSystemAbilityManager(registry);
        registry->AddSystemAbility(SOFTBUS_SERVER_SA_ID, bus);
    }
    void TearDown() override
    {
        if (server) {
            server->Stop();
        }
        bus->Drain();
        SystemAbilityManagerClient::GetInstance().SetSystemAbilityManager(nullptr);
    }
    void Serve(CollaborationOptions options = {})
    {
        auto made = CollaborationServer::Start(options);
        ASSERT_TRUE(made) << made.Message();
        server = made.Value();
        registry->AddSystemAbility(COLL_FWK_SA_ID, server);
    }
    StartResult StartWith(const std::string& networkId, const std::string& parameters = "", int32_t toWake = SERVICE)
    {
        return ability.StartCollaboration(SERVICE, MakeSptr<TargetInfo>(networkId, 0, "", parameters, toWake));
    }
    StartResult Start() { return StartWith(LoopbackBus::PEER); }
    // An open session, by its outbound side.
    int32_t Started()
    {
        const StartResult result = Start();
        EXPECT_EQ(result.code, COLLABORATION_OK);
        return result.sessionId;
    }
    // The ids of what runs: outbound positive, inbound negative.
    std::vector<int32_t> Running()
    {
        std::vector<sptr<StartInfo>> infos;
        EXPECT_EQ(ability.GetCollaborationStartInfos(SERVICE, infos), COLLABORATION_OK);
        std::vector<int32_t> ids;
        for (const auto& info : infos) {
            EXPECT_EQ(info->GetNetworkId(), LoopbackBus::PEER);
            ids.push_back(info->IsInbound() ? -info->GetCollaborationSessionId() : info->GetCollaborationSessionId());
        }
        return ids;
    }
    static bool Eventually(const std::function<bool()>& condition)
    {
        const auto deadline = Clock::now() + WAIT_LIMIT;
        while (!condition() && Clock::now() < deadline) {
            std::this_thread::sleep_for(2ms);
        }
        return condition();
    }

    const sptr<Registry> registry = MakeSptr<Registry>();
    const sptr<LoopbackBus> bus = MakeSptr<LoopbackBus>();
    CollaborationAbility& ability = CollaborationAbility::GetInstance();
    sptr<CollaborationServer> server;
};

std::string Bytes(const Parcel& parcel)
{
    return {reinterpret_cast<const char*>(parcel.GetData()), parcel.GetDataSize()};
}

template <typename Message>
std::string Encoded(const Message& message)
{
    Parcel parcel;
    EXPECT_TRUE(Encode(message, parcel));
    return Bytes(parcel);
}

TEST_F(CollaborationTest, AStartWakesThePeersServiceAndIsListedOnBothSides)
{
    Serve();
    const int32_t session = Started();

    EXPECT_GT(session, 0);
    EXPECT_EQ(Running(), (std::vector<int32_t>{session, -bus->Other(session)}));
    EXPECT_EQ(registry->loads, 1);
    EXPECT_EQ(registry->announcements, 1);
    EXPECT_EQ(registry->inboundWhenAnnounced, 1);
    std::vector<sptr<StartInfo>> ofAnother;
    EXPECT_EQ(ability.GetCollaborationStartInfos(SERVICE + 1, ofAnother), COLLABORATION_OK);
    EXPECT_TRUE(ofAnother.empty());
}

TEST_F(CollaborationTest, LaterStartsWakeThePeerAgainOverTheSameSession)
{
    Serve();
    const int32_t session = Started();

    EXPECT_EQ(Started(), session);
    EXPECT_EQ(registry->loads, 2);
    EXPECT_EQ(bus->openings, 1);
}

TEST_F(CollaborationTest, StartsAtTheSameTimeShareOneSession)
{
    Serve();
    std::vector<std::future<StartResult>> starts;
    for (int i = 0; i < 8; ++i) {
        starts.push_back(std::async(std::launch::async, [this] { return Start(); }));
    }
    const int32_t session = starts.front().get().sessionId;
    for (size_t i = 1; i < starts.size(); ++i) {
        EXPECT_EQ(starts[i].get().sessionId, session);
    }
    EXPECT_EQ(bus->openings, 1);
}

TEST_F(CollaborationTest, AStartThatCannotBeSaysWhy)
{
    const auto check = [this](StartResult result, int32_t code) {
        EXPECT_EQ(result.code, code);
        EXPECT_EQ(result.sessionId, 0);
        EXPECT_TRUE(Running().empty());
    };
    EXPECT_EQ(Start().code, COLLABORATION_UNAVAILABLE);
    Serve();
    check(ability.StartCollaboration(SERVICE, nullptr), COLLABORATION_NULL_TARGET);
    check(StartWith(std::string(64, 'b')), COLLABORATION_NO_SUCH_PEER);
    check(StartWith(""), COLLABORATION_NO_SUCH_PEER);
    check(StartWith(LoopbackBus::PEER, std::string(MAX_PARCEL_SIZE, 'p')), COLLABORATION_TOO_LARGE);
    check(StartWith(LoopbackBus::PEER, "", WIFI_HOTSPOT_SYS_ABILITY_ID), COLLABORATION_PEER_FAILED);
    EXPECT_EQ(registry->loads, 0);
    registry->loadResult = ERR_NOT_STARTED;
    check(Start(), COLLABORATION_PEER_FAILED);
    EXPECT_EQ(registry->announcements, 0);
    EXPECT_EQ(bus->openings, 1);
}

TEST_F(CollaborationTest, AnOpenThatFailsFailsAllWhoWaitForItAndTheNextStartTriesAgain)
{
    const struct {
        int softBus;
        int32_t code;
    } cases[] = {{SOFTBUS_PEER_REFUSED, COLLABORATION_PEER_FAILED},
                 {SOFTBUS_NO_LINK, COLLABORATION_NO_SUCH_PEER},
                 {SOFTBUS_TIMED_OUT, COLLABORATION_TIMED_OUT}};
    Serve();
    for (const auto& [softBus, code] : cases) {
        bus->openedResult = softBus;
        EXPECT_EQ(Start().code, code);
    }
    bus->openedResult = SOFTBUS_OK;
    Started();
    registry->RemoveSystemAbility(SOFTBUS_SERVER_SA_ID);
    EXPECT_EQ(Start().code, COLLABORATION_UNAVAILABLE);
}

TEST_F(CollaborationTest, AStartEndsWithinItsLimitWhoeverElseAnswers)
{
    Serve({100ms, 30s});
    const int32_t session = Started();
    bus->delivers = false;
    // An answer to another request, and one from a peer that was not asked.
    bus->Inject(session, Encoded(AnswerMessage{77, COLLABORATION_OK}));
    bus->Inject(bus->Other(session), Encoded(AnswerMessage{2, COLLABORATION_OK}));

    const auto begin = Clock::now();
    EXPECT_EQ(Start().code, COLLABORATION_TIMED_OUT);
    EXPECT_GE(Clock::now() - begin, 100ms);
    bus->delivers = true;
    EXPECT_EQ(Started(), session);

    EXPECT_EQ(ability.StopCollaboration(session), COLLABORATION_OK);
    bus->opens = false;
    EXPECT_EQ(Start().code, COLLABORATION_TIMED_OUT);
}

TEST_F(CollaborationTest, ASessionExpiresOnBothSidesAWhileAfterItsLastUse)
{
    constexpr auto EXPIRY = 200ms;
    Serve({5s, EXPIRY});
    const auto begin = Clock::now();
    Started();
    auto lastUse = begin;
    int32_t session = 0;
    while (Clock::now() - begin < EXPIRY * 3 / 2) {
        lastUse = Clock::now();
        session = Started();
    }

    EXPECT_TRUE(Eventually([&] { return bus->Other(session) == 0; }));
    EXPECT_GE(Clock::now() - lastUse, EXPIRY);
    EXPECT_TRUE(Eventually([&] { return Running().empty(); }));
    EXPECT_NE(Started(), session);
}

TEST_F(CollaborationTest, AStoppedOrBrokenSessionIsGoneOnBothSidesAndTheNextStartOpensAnother)
{
    Serve();
    int32_t session = Started();
    const auto expectFresh = [&] {
        EXPECT_TRUE(Eventually([&] { return Running().empty(); }));
        EXPECT_EQ(ability.StopCollaboration(session), COLLABORATION_NO_SUCH_SESSION);
        const int32_t next = Started();
        EXPECT_NE(next, session);
        session = next;
    };
    EXPECT_EQ(ability.StopCollaboration(session), COLLABORATION_OK);
    expectFresh();
    EXPECT_EQ(ability.StopCollaboration(bus->Other(session)), COLLABORATION_OK);  // the peer stops
    expectFresh();
    bus->Break(session);
    expectFresh();
    bus->Break(session, true);  // found out by the start itself
    EXPECT_NE(Started(), session);
}

TEST_F(CollaborationTest, StoppingTheFrameworkFailsTheStartsThatWait)
{
    Serve();
    Started();
    bus->delivers = false;
    auto waiting = std::async(std::launch::async, [this] { return Start(); });
    server->Stop();

    ASSERT_EQ(waiting.wait_for(4s), std::future_status::ready);
    EXPECT_NE(waiting.get().code, COLLABORATION_OK);
    EXPECT_EQ(Start().code, COLLABORATION_UNAVAILABLE);
    EXPECT_TRUE(Running().empty());
}

TEST_F(CollaborationTest, ADamagedMessageEndsItsSessionWithOneLogLine)
{
    Serve();
    const std::string start = Encoded(StartMessage{1, SERVICE, 0, "act", "parameters"});
    const std::string answer = Encoded(AnswerMessage{1, 0});
    std::vector<std::string> damaged{start + std::string(4, '\0'), answer + "x", "\x03" + start.substr(1),
                                     std::string(64, '\xff')};
    for (size_t length = 1; length < start.size(); ++length) {
        damaged.push_back(start.substr(0, length));
    }
    for (size_t length = 1; length < answer.size(); ++length) {
        damaged.push_back(answer.substr(0, length));
    }
    for (const std::string& bytes : damaged) {
        const int32_t session = Started();
        const int peer = bus->Other(session);
        const int loads = registry->loads;
        const LogCapture log;
        bus->Inject(peer, bytes);
        bus->Inject(peer, bytes);
        EXPECT_TRUE(Eventually([&] { return Running().empty(); })) << bytes.size();
        bus->Drain();
        EXPECT_EQ(log.Count("a damaged message"), 1u);
        EXPECT_EQ(registry->loads, loads);
    }
}

TEST_F(CollaborationTest, TheMessagesAreTheDocumentedBytes)
{
    EXPECT_EQ(Encoded(StartMessage{0x01020304, SERVICE, 5, "act", ""}), std::string("\x01\0\0\0"
                                                                                    "\x04\x03\x02\x01"
                                                                                    "\x8b\x04\0\0"
                                                                                    "\x05\0\0\0"
                                                                                    "\x03\0\0\0"
                                                                                    "act\0"
                                                                                    "\0\0\0\0"
                                                                                    "\0\0\0\0",
                                                                                    32));
    EXPECT_EQ(Encoded(AnswerMessage{0x01020304, -1}), std::string("\x02\0\0\0"
                                                                  "\x04\x03\x02\x01"
                                                                  "\xff\xff\xff\xff",
                                                                  12));
}

}  // namespace
}  // namespace Vexo::CollaborationFwk
