#include "platform/collaboration/collaboration_ability.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <limits>

#include "platform/base/text.h"
#include "platform/collaboration/collaboration_server.h"
#include "platform/tasks/elastic_pool.h"
#include "tests/support/fake_ability_manager.h"
#include "tests/support/fake_peer_policy.h"
#include "tests/support/log_capture.h"
#include "tests/support/loopback_bus.h"
#include "tests/support/manual_timers.h"

namespace Vexo::CollaborationFwk {
namespace {

using Vexo::Tests::Eventually;
using Vexo::Tests::LoopbackBus;
using namespace std::chrono_literals;

constexpr int32_t SERVICE = COMM_DISTRIBUTED_NET_ABILITY_ID;

// Returns the session ids of the running collaborations in ascending order.
std::vector<int32_t> Running(int32_t ability = SERVICE)
{
    std::vector<sptr<StartInfo>> infos;
    std::vector<int32_t> ids;
    EXPECT_EQ(CollaborationAbility::GetInstance().GetCollaborationStartInfos(ability, infos), COLLABORATION_OK);
    for (const auto& info : infos) {
        EXPECT_EQ(info->GetNetworkId(), LoopbackBus::PEER);
        ids.push_back(info->GetCollaborationSessionId());
    }
    return ids;
}

// Counts how often the service is loaded. Also counts the collaborations that run when the collaboration framework is
// announced.
class Registry : public Vexo::Tests::FakeAbilityManager {
public:
    std::atomic<int> loads{0};
    std::atomic<int> seenWhenAnnounced{0};

    int32_t LoadSystemAbility(int32_t id) override
    {
        loads += id == SERVICE ? 1 : 1000;
        return ERR_OK;
    }
    int32_t AnnounceSystemAbility(int32_t id) override
    {
        seenWhenAnnounced += id == COLL_FWK_SA_ID ? static_cast<int>(Running().size()) : 1000;
        return ERR_OK;
    }
};

// Records the received data. If the data is "ping", sends "pong" inside the callback.
class Receiver : public DataCallback, public Vexo::Tests::Trail<std::string> {
public:
    void OnDataReceived(int sessionId, const char* data, unsigned int len) override
    {
        Add(std::string(data, len));
        if (std::string(data, len) == "ping") {
            EXPECT_EQ(CollaborationAbility::GetInstance().SendCollaborationData(sessionId, "pong", 4), 0);
        }
    }
    void OnDataReceiverReady(int) override { ++ready; }
    // Blocks until the expected number of messages has arrived. Returns whether the messages and their order are as
    // expected.
    bool Heard(const std::vector<std::string>& expected) { return WaitFor(expected.size()) == expected; }

    std::atomic<int> ready{0};
};

class CollaborationTest : public testing::Test {
protected:
    void SetUp() override
    {
        SystemAbilityManagerClient::GetInstance().SetSystemAbilityManager(registry);
        registry->AddSystemAbility(SOFTBUS_SERVER_SA_ID, bus);
        server = CollaborationServer::Start(COLLABORATION_START_LIMIT, timers, &policy).value();
        registry->AddSystemAbility(COLL_FWK_SA_ID, server);
    }
    void TearDown() override
    {
        server->Stop();
        bus->Drain();
        SystemAbilityManagerClient::GetInstance().SetSystemAbilityManager(nullptr);
    }
    StartResult Start()
    {
        return ability.StartCollaboration(SERVICE, MakeSptr<TargetInfo>(LoopbackBus::PEER, 0U, "", "", SERVICE));
    }
    int32_t Started()
    {
        const StartResult result = Start();
        EXPECT_EQ(result.code, COLLABORATION_OK);
        return result.sessionId;
    }
    int32_t Send(int32_t session, const std::string& text)
    {
        return ability.SendCollaborationData(session, text.data(), static_cast<uint32_t>(text.size()));
    }
    sptr<Receiver> Register(int32_t session)
    {
        const auto receiver = MakeSptr<Receiver>();
        EXPECT_EQ(ability.RegisterCollaborationDataCallback(session, receiver), COLLABORATION_OK);
        return receiver;
    }

    const sptr<Registry> registry = MakeSptr<Registry>();
    const sptr<LoopbackBus> bus = MakeSptr<LoopbackBus>();
    CollaborationAbility& ability = CollaborationAbility::GetInstance();
    Vexo::Tests::ManualTimers timers;
    Vexo::Tests::FakePeerPolicy policy;
    sptr<CollaborationServer> server;
};

template <typename Message>
std::string Encoded(const Message& message)
{
    Parcel parcel;
    EXPECT_TRUE(Encode(message, parcel));
    return {reinterpret_cast<const char*>(parcel.GetData()), parcel.GetDataSize()};
}

TEST_F(CollaborationTest, StartsShareOneSessionAndEachWakesPeerService)
{
    const int32_t session = Started();
    EXPECT_EQ(registry->seenWhenAnnounced, 1);
    EXPECT_EQ(Running(), (std::vector<int32_t>{session, bus->Other(session)}));
    EXPECT_TRUE(Running(SERVICE + 1).empty());

    auto other = std::async(std::launch::async, [this] { return Started(); });
    EXPECT_EQ(Started(), session);
    EXPECT_EQ(other.get(), session);
    EXPECT_EQ(registry->loads, 3);
    EXPECT_EQ(bus->openings, 1);
}

TEST_F(CollaborationTest, RefusedStartWakesNothingAndReportsReasonToStarter)
{
    const std::string& peer = LoopbackBus::PEER;
    const Vexo::Tests::LogCapture log;
    for (const auto refusal : {SoftBus::PeerRefusal::NOT_ALLOWED, SoftBus::PeerRefusal::NOT_ANSWERED}) {
        policy.answer = refusal;
        EXPECT_EQ(Start().code, COLLABORATION_PEER_FAILED);
        EXPECT_EQ(policy.Take(),
                  (std::vector<std::string>{"admit " + peer,
                                            "refused " + peer + " " + std::to_string(static_cast<int>(refusal))}));
    }
    EXPECT_EQ(log.Count("a start from " + ShortId(peer) + " is refused by the owner's rules: NOT_ALLOWED"), 1u);
    EXPECT_EQ(log.Count("refused by the owner's rules"), 1u) << "one line a minute";
    EXPECT_EQ(registry->loads, 0);
    EXPECT_TRUE(Running().empty());
    policy.answer = SoftBus::PeerRefusal::NONE;
    Started();
    EXPECT_EQ(bus->openings, 1) << "the session was kept";
    EXPECT_EQ(policy.Take(), (std::vector<std::string>{"admit " + peer}));
}

TEST_F(CollaborationTest, RefusedPeerMayAnswerButNotRequest)
{
    const int32_t session = Started();
    const int32_t peerSession = bus->Other(session);
    const auto here = Register(session);
    const auto there = Register(peerSession);
    ASSERT_TRUE(Eventually([&] { return here->ready == 1 && there->ready == 1; }));
    policy.answer = SoftBus::PeerRefusal::NOT_ALLOWED;
    EXPECT_EQ(Send(peerSession, "answer"), COLLABORATION_OK);
    EXPECT_TRUE(here->Heard({"answer"}));
    EXPECT_EQ(Send(peerSession, std::string(Vexo::Tests::FakePeerPolicy::REQUEST)), COLLABORATION_OK);
    EXPECT_TRUE(Eventually([] { return Running().empty(); }));
    EXPECT_TRUE(here->Heard({"answer"}));
}

TEST_F(CollaborationTest, UnusedSessionExpiresOnBothSides)
{
    for (int use = 0; use < 3; ++use) {
        Started();
        timers.Advance(COLLABORATION_EXPIRY - 1s);
    }
    EXPECT_EQ(bus->openings, 1);
    timers.Advance(1s);
    EXPECT_TRUE(Eventually([] { return Running().empty(); }));
}

TEST_F(CollaborationTest, EndedSessionIsRemovedAndNextStartOpensNewOne)
{
    int32_t session = Started();
    for (const bool peerStops : {false, true}) {
        EXPECT_EQ(ability.StopCollaboration(peerStops ? bus->Other(session) : session), COLLABORATION_OK);
        EXPECT_TRUE(Eventually([] { return Running().empty(); }));
        EXPECT_EQ(ability.StopCollaboration(session), COLLABORATION_NO_SUCH_SESSION);
        EXPECT_NE(Started(), std::exchange(session, session + 2));
    }
    bus->Break(session);  // The next start detects the break.
    EXPECT_NE(Started(), std::exchange(session, session + 2));
    bus->lastMute = bus->Other(session);  // From now on, the session loses all bytes without an error.
    EXPECT_NE(Started(), session);
    EXPECT_EQ(ability.StopCollaboration(session), COLLABORATION_NO_SUCH_SESSION);
}

TEST_F(CollaborationTest, DataWaitsForReceiverAndReadinessForBothSides)
{
    const int32_t here = Started();
    const int32_t there = bus->Other(here);
    Send(here, "one");
    Send(here, "ping");
    bus->Drain();
    const auto receiver = Register(there);
    EXPECT_TRUE(receiver->Heard({"one", "ping"}));
    EXPECT_EQ(receiver->ready, 0);
    const auto sender = Register(here);
    EXPECT_TRUE(sender->Heard({"pong"}));
    EXPECT_TRUE(Eventually([&] { return receiver->ready == 1 && sender->ready == 1; }));

    const auto second = Register(there);
    Send(here, "two");
    EXPECT_TRUE(second->Heard({"two"}));
    EXPECT_EQ(ability.UnRegisterCollaborationDataCallback(there), COLLABORATION_OK);
    Send(here, "three");
    const auto third = Register(there);
    EXPECT_TRUE(third->Heard({"three"}));
    EXPECT_TRUE(Eventually([&] { return third->ready == 1; }));
    EXPECT_EQ(second->ready, 0) << "it took over from one that knew";
    const auto last = Register(here);
    Send(there, "bye");
    EXPECT_EQ(ability.StopCollaboration(there), COLLABORATION_OK);
    EXPECT_TRUE(last->Heard({"bye"})) << "what was sent before the end arrives";
    EXPECT_TRUE(Eventually([&] { return last->GetSptrRefCount() == 1; }));
    EXPECT_EQ(Send(here, "x"), COLLABORATION_NO_SUCH_SESSION);
    EXPECT_EQ(ability.RegisterCollaborationDataCallback(here, last), COLLABORATION_NO_SUCH_SESSION);
    EXPECT_EQ(ability.UnRegisterCollaborationDataCallback(here), COLLABORATION_OK);
}

TEST_F(CollaborationTest, InvalidDataIsRefusedAndUndeliveredExcessEndsSession)
{
    const int32_t session = Started();
    const int32_t peer = bus->Other(session);
    EXPECT_EQ(ability.RegisterCollaborationDataCallback(session, nullptr), COLLABORATION_INVALID_ARGUMENT);
    EXPECT_EQ(ability.SendCollaborationData(session, nullptr, 1), COLLABORATION_INVALID_ARGUMENT);
    EXPECT_EQ(Send(session, ""), COLLABORATION_INVALID_ARGUMENT);
    const std::string largest(163'815, 'x');
    EXPECT_EQ(Send(session, largest + "x"), COLLABORATION_TOO_LARGE);
    EXPECT_EQ(Send(session, largest), COLLABORATION_OK);
    const auto receiver = Register(peer);
    EXPECT_TRUE(receiver->Heard({largest}));
    ability.StopCollaboration(session);

    for (const auto& [count, size] : {std::pair(MAX_WAITING_MESSAGES, 1), std::pair(size_t{8}, 131'072)}) {
        const Vexo::Tests::LogCapture log;
        const int32_t next = Started();
        for (size_t i = 0; i < count; ++i) {
            EXPECT_EQ(Send(next, std::string(static_cast<size_t>(size), 'x')), COLLABORATION_OK);
        }
        bus->Drain();
        EXPECT_EQ(Running().size(), 2U);
        Send(next, "x");
        EXPECT_TRUE(Eventually([] { return Running().empty(); }));
        EXPECT_EQ(log.Count("one undelivered message too many"), 1U);
    }
}

TEST_F(CollaborationTest, StoppingFrameworkFailsWaitingStarts)
{
    Started();
    bus->lastMute = std::numeric_limits<int>::max();
    auto waiting = std::async(std::launch::async, [this] { return Start().code; });
    server->Stop();
    ASSERT_EQ(waiting.wait_for(4s), std::future_status::ready);
    EXPECT_NE(waiting.get(), COLLABORATION_OK);
    EXPECT_TRUE(Running().empty());
}

TEST_F(CollaborationTest, MessagesMatchDocumentationAndDamagedOneEndsSession)
{
    const std::string start = Encoded(StartMessage{0x01020304, SERVICE, 5, "act", ""});
    const std::string answer = Encoded(AnswerMessage{0x01020304, -1});
    const std::string data = Encoded(DataMessage{std::string("\3\2\0", 3)});
    const std::string ready = Encoded(ReadyMessage{});
    EXPECT_EQ(start, std::string("\1\0\0\0\4\3\2\1\x8b\4\0\0\5\0\0\0\3\0\0\0act\0\0\0\0\0\0\0\0\0", 32));
    EXPECT_EQ(answer, std::string("\2\0\0\0\4\3\2\1\xff\xff\xff\xff", 12));
    EXPECT_EQ(data, std::string("\3\0\0\0\3\0\0\0\3\2\0\0", 12));
    EXPECT_EQ(ready, std::string("\4\0\0\0", 4));

    for (const std::string& bytes : {start + std::string(4, '\0'), answer + "x", data + "x", ready + "x",
                                     "\x05" + ready.substr(1), Encoded(DataMessage{}), start.substr(0, 20)}) {
        const int peer = bus->Other(Started());
        const int loads = registry->loads;
        const Vexo::Tests::LogCapture log;
        bus->Deliver(peer, bytes);
        bus->Deliver(peer, bytes);
        EXPECT_TRUE(Eventually([] { return Running().empty(); })) << bytes.size();
        bus->Drain();
        EXPECT_EQ(log.Count("a damaged message"), 1u);
        EXPECT_EQ(registry->loads, loads);
    }
}

}  // namespace
}  // namespace Vexo::CollaborationFwk
