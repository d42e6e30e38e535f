// Sessions between two devices: opening, bytes, closing, and what the contracts say of their callbacks.
#include "platform/softbus/session.h"

#include <gtest/gtest.h>

#include <chrono>

#include "tests/platform/softbus/device_fixture.h"
#include "tests/support/fake_ability_manager.h"

namespace Vexo::SoftBus::Tests {

namespace {

using Kind = Event::Kind;
using namespace std::chrono_literals;

int Send(const sptr<SoftBusServer>& bus, int id, const std::string& bytes)
{
    return bus->SendBytes(id, bytes.data(), static_cast<unsigned int>(bytes.size()));
}

class SessionTest : public PairTest {};

TEST_F(SessionTest, EchoesInBothDirectionsWhoeverOpened)
{
    atPhone.OnEvent([this](const Event& event) {
        if (event.kind == Kind::BYTES) {
            Send(phone, event.id, "echo " + event.bytes);
        }
    });
    const int id = laptop->OpenSession(NAME, NAME, phoneIdentity.networkId, ByteSession());
    ASSERT_EQ(atLaptop.WaitFor(Kind::OPENED, id).result, 0);
    ASSERT_EQ(Send(laptop, id, "abc"), 0);
    EXPECT_EQ(atLaptop.WaitFor(Kind::BYTES, id).bytes, "echo abc");

    std::string peer;
    EXPECT_EQ(laptop->GetPeerNetworkId(id, peer), 0);
    EXPECT_EQ(peer, phoneIdentity.networkId);

    atLaptop.OnEvent([this](const Event& event) {
        if (event.kind == Kind::BYTES) {
            Send(laptop, event.id, "back " + event.bytes);
        }
    });
    const int other = phone->OpenSession(NAME, NAME, laptopIdentity.networkId, ByteSession());
    EXPECT_GT(other, 1) << "one space of ids for both directions";
    ASSERT_EQ(atPhone.WaitFor(Kind::OPENED, other).result, 0);
    ASSERT_EQ(Send(phone, other, "xyz"), 0);
    EXPECT_EQ(atPhone.WaitFor(Kind::BYTES, other).bytes, "back xyz");
}

TEST_F(SessionTest, OpenedComesOnceAndNotBeforeAMillisecondHasPassed)
{
    for (int round = 0; round < 20; ++round) {
        const int id = laptop->OpenSession(NAME, NAME, phoneIdentity.networkId, ByteSession());
        const auto returned = std::chrono::steady_clock::now();
        ASSERT_GT(id, 0);
        const Event opened = atLaptop.WaitFor(Kind::OPENED, id);
        EXPECT_EQ(opened.result, 0);
        EXPECT_GE(opened.when - returned, 1ms);
        EXPECT_NE(opened.thread, std::this_thread::get_id());
        laptop->CloseSession(id);
        ASSERT_TRUE(Eventually([&] { return phone->Counts().sessions == 0; }));
        EXPECT_EQ(atLaptop.Count(Kind::OPENED, id), 1u);
    }
}

TEST_F(SessionTest, LocalFailuresAreNegativeAndBringNoCallback)
{
    const std::string peer = phoneIdentity.networkId;
    SessionAttribute none = ByteSession();
    none.linkTypeNum = 0;
    SessionAttribute tooMany = ByteSession();
    tooMany.linkTypeNum = LINK_TYPE_COUNT + 1;
    SessionAttribute noType = ByteSession();
    noType.dataType = 0;
    const struct {
        const char* what;
        std::string name;
        std::string peer;
        SessionAttribute attribute;
        int result;
    } cases[] = {
        {"empty name", "", peer, ByteSession(), SOFTBUS_INVALID_PARAM},
        {"name of 256", std::string(256, 'n'), peer, ByteSession(), SOFTBUS_INVALID_PARAM},
        {"no link types", NAME, peer, none, SOFTBUS_INVALID_PARAM},
        {"11 link types", NAME, peer, tooMany, SOFTBUS_INVALID_PARAM},
        {"no data type", NAME, peer, noType, SOFTBUS_INVALID_PARAM},
        {"unknown peer", NAME, std::string(64, '0'), ByteSession(), SOFTBUS_NO_SUCH_PEER},
        {"itself", NAME, laptopIdentity.networkId, ByteSession(), SOFTBUS_NO_SUCH_PEER},
        {"a link type without transport", NAME, peer, ByteSession({LINK_TYPE_BR}), SOFTBUS_NO_LINK},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(laptop->OpenSession(c.name, NAME, c.peer, c.attribute), c.result) << c.what;
    }
    EXPECT_EQ(laptop->SendBytes(12345, "x", 1), SOFTBUS_NO_SUCH_SESSION);
    laptop->CloseSession(12345);
    EXPECT_TRUE(atLaptop.All().empty());
    EXPECT_EQ(laptop->Counts().pendingOpens, 0u);
}

TEST_F(SessionTest, BytesAcceptedBeforeACloseArriveThenOneClosed)
{
    const auto [mine, theirs] = OpenPair();
    const std::string large(MAX_SESSION_BYTES, 'L');
    ASSERT_EQ(Send(laptop, mine, "first"), 0);
    ASSERT_EQ(Send(laptop, mine, large), 0);
    ASSERT_EQ(Send(phone, theirs, "crossing"), 0);
    laptop->CloseSession(mine);
    EXPECT_EQ(Send(laptop, mine, "late"), SOFTBUS_NO_SUCH_SESSION);

    atPhone.WaitFor(Kind::CLOSED, theirs);
    EXPECT_EQ(Send(phone, theirs, "late"), SOFTBUS_NO_SUCH_SESSION);
    std::vector<Event> events = atPhone.All();
    ASSERT_EQ(events.size(), 4u);
    EXPECT_EQ(events[1].bytes, "first");
    EXPECT_EQ(events[2].bytes, large);
    ASSERT_TRUE(Eventually([&] { return laptop->Counts().sessions == 0; }));
    EXPECT_EQ(atLaptop.Count(Kind::CLOSED, mine), 0u);
}

TEST_F(SessionTest, ClosingFromCallbacksIsSafe)
{
    atPhone.OnEvent([this](const Event& event) {
        if (event.kind == Kind::BYTES) {
            Send(phone, event.id, "bye");
            phone->CloseSession(event.id);
        }
    });
    const int id = laptop->OpenSession(NAME, NAME, phoneIdentity.networkId, ByteSession());
    atLaptop.WaitFor(Kind::OPENED, id);
    Send(laptop, id, "close, please");
    atLaptop.WaitFor(Kind::CLOSED, id);
    EXPECT_EQ(atLaptop.All()[1].bytes, "bye");
    EXPECT_EQ(atLaptop.Count(Kind::CLOSED, id), 1u);

    atLaptop.OnEvent([this](const Event& event) { laptop->CloseSession(event.id); });
    const int other = laptop->OpenSession(NAME, NAME, phoneIdentity.networkId, ByteSession());
    atPhone.WaitFor([](const Event& event) { return event.kind == Kind::CLOSED; });
    EXPECT_EQ(atLaptop.Count(Kind::OPENED, other), 1u);
    EXPECT_EQ(atLaptop.Count(Kind::CLOSED, other), 0u);
}

TEST_F(SessionTest, ClosedBeforeItOpenedStillBringsItsOneOpenedCallback)
{
    const int id = laptop->OpenSession(NAME, NAME, phoneIdentity.networkId, ByteSession());
    laptop->CloseSession(id);
    EXPECT_EQ(atLaptop.WaitFor(Kind::OPENED, id).result, SOFTBUS_NO_SUCH_SESSION);
    ASSERT_TRUE(Eventually([&] { return laptop->Counts().pendingOpens == 0 && phone->Counts().sessions == 0; }));
    EXPECT_EQ(atLaptop.All().size(), 1u);
}

TEST_F(SessionTest, LargestMessagePassesAndALargerOneIsRefused)
{
    const auto [mine, theirs] = OpenPair();
    std::string most(MAX_SESSION_BYTES, '\0');
    for (size_t i = 0; i < most.size(); ++i) {
        most[i] = static_cast<char>(i * 31 >> 7);
    }
    EXPECT_EQ(Send(laptop, mine, most + "x"), SOFTBUS_INVALID_PARAM);
    EXPECT_EQ(laptop->SendBytes(mine, most.data(), 0), SOFTBUS_INVALID_PARAM);
    EXPECT_EQ(laptop->SendBytes(mine, nullptr, 1), SOFTBUS_INVALID_PARAM);
    ASSERT_EQ(Send(laptop, mine, most), 0);
    EXPECT_EQ(atPhone.WaitFor(Kind::BYTES, theirs).bytes, most);
}

TEST_F(SessionTest, APeerThatDoesNotTakeBytesFillsTheQueueAndLosesNothing)
{
    const std::pair<int, int> ids = OpenPair();
    std::atomic<bool> hold{true};
    std::atomic<size_t> taken{0};
    atPhone.OnEvent([&](const Event& event) {
        Eventually([&] { return !hold.load(); });
        taken += event.bytes.size();
    });
    const std::string megabyte(1024 * 1024, 'm');
    size_t accepted = 0;
    int result = SOFTBUS_OK;
    ASSERT_TRUE(Eventually([&] {
        while ((result = Send(laptop, ids.first, megabyte)) == SOFTBUS_OK) {
            ++accepted;
        }
        // Full for good only when the pause at the other end has reached this one.
        return result == SOFTBUS_QUEUE_FULL && accepted > 16;
    }));
    EXPECT_LT(accepted, 64u) << "the other end must stop reading";
    hold = false;
    EXPECT_TRUE(Eventually([&] { return taken == accepted * megabyte.size(); }));
    EXPECT_EQ(atPhone.Count(Kind::CLOSED, ids.second), 0u);
    atPhone.OnEvent(nullptr);
}

TEST_F(SessionTest, FiftyOpenAtOnce)
{
    atPhone.OnEvent([this](const Event& event) {
        if (event.kind == Kind::BYTES) {
            Send(phone, event.id, event.bytes);
        }
    });
    atLaptop.OnEvent([this](const Event& event) {
        if (event.kind == Kind::OPENED) {
            Send(laptop, event.id, std::to_string(event.id));
        }
    });
    std::vector<int> ids;
    for (int i = 0; i < 50; ++i) {
        ids.push_back(laptop->OpenSession(NAME, NAME, phoneIdentity.networkId, ByteSession()));
    }
    for (const int id : ids) {
        EXPECT_EQ(atLaptop.WaitFor(Kind::BYTES, id).bytes, std::to_string(id));
    }
    EXPECT_EQ(laptop->Counts().sessions, 50u);
    laptop->Stop();
    EXPECT_TRUE(Eventually([&] { return phone->Counts().sessions == 0; }));
    for (const int id : ids) {
        EXPECT_EQ(atLaptop.Count(Kind::CLOSED, id), 0u);
    }
}

TEST_F(SessionTest, WaitsForItsOwnServerAndForThePeers)
{
    const char late[] = "test.late";
    const int id = laptop->OpenSession(late, late, phoneIdentity.networkId, ByteSession());
    ASSERT_GT(id, 0);
    EXPECT_TRUE(Eventually([&] { return laptop->Counts().pendingOpens == 1; }));
    ASSERT_EQ(laptop->CreateSessionServer(PKG, late, Listener<0>::Table()), 0);
    EXPECT_TRUE(Eventually([&] { return phone->Counts().pendingOpens == 1; })) << "the peer waits in turn";
    ASSERT_EQ(phone->CreateSessionServer(PKG, late, Listener<1>::Table()), 0);
    EXPECT_EQ(atLaptop.WaitFor(Kind::OPENED, id).result, 0);
}

TEST_F(SessionTest, AServerThatNeverAppearsFailsTheOpenWellWithinTenSeconds)
{
    const auto began = std::chrono::steady_clock::now();
    const int id = laptop->OpenSession(NAME, "test.never", phoneIdentity.networkId, ByteSession());
    EXPECT_EQ(atLaptop.WaitFor(Kind::OPENED, id).result, SOFTBUS_PEER_REFUSED);
    EXPECT_LT(std::chrono::steady_clock::now() - began, 8s);
    EXPECT_EQ(phone->Counts().pendingOpens, 0u);
    EXPECT_EQ(Send(laptop, id, "x"), SOFTBUS_NO_SUCH_SESSION);
}

TEST_F(SessionTest, RemovingAServerClosesItsSessions)
{
    const auto [mine, theirs] = OpenPair();
    EXPECT_EQ(phone->CreateSessionServer("other.package", NAME, Listener<1>::Table()), SOFTBUS_INVALID_PARAM);
    EXPECT_EQ(phone->CreateSessionServer(PKG, NAME, Listener<1>::Table()), 0) << "creating again is no error";
    EXPECT_EQ(phone->RemoveSessionServer(PKG, "unknown"), SOFTBUS_NO_SUCH_SERVER);
    EXPECT_EQ(phone->RemoveSessionServer(PKG, NAME), 0);
    atLaptop.WaitFor(Kind::CLOSED, mine);
    EXPECT_EQ(atPhone.Count(Kind::CLOSED, theirs), 0u);
    EXPECT_EQ(phone->Counts().servers, 0u);
}

TEST_F(SessionTest, StoppingFailsWhatIsOpening)
{
    const int id = laptop->OpenSession(NAME, "test.never", phoneIdentity.networkId, ByteSession());
    ASSERT_TRUE(Eventually([&] { return phone->Counts().pendingOpens == 1; }));
    laptop->Stop();
    EXPECT_EQ(atLaptop.WaitFor(Kind::OPENED, id).result, SOFTBUS_UNAVAILABLE);
    EXPECT_EQ(laptop->OpenSession(NAME, NAME, phoneIdentity.networkId, ByteSession()), SOFTBUS_UNAVAILABLE);
}

class FewSessionsTest : public PairTest {
protected:
    FewSessionsTest() { phoneOptions.maxSessions = 1; }
};

TEST_F(FewSessionsTest, TheOpenerHearsThatThePeerHasNoRoom)
{
    OpenPair();
    const int id = laptop->OpenSession(NAME, NAME, phoneIdentity.networkId, ByteSession());
    EXPECT_EQ(atLaptop.WaitFor(Kind::OPENED, id).result, SOFTBUS_LIMIT);
    EXPECT_EQ(phone->OpenSession(NAME, NAME, laptopIdentity.networkId, ByteSession()), SOFTBUS_LIMIT);
}

TEST_F(SessionTest, PlainFunctionsCheckTheirArgumentsAndReachTheAbility)
{
    const ISessionListener table = Listener<0>::Table();
    const std::string longName(256, 'n');
    const SessionAttribute attribute = ByteSession();
    EXPECT_EQ(CreateSessionServer(PKG, NAME, &table), SOFTBUS_UNAVAILABLE) << "nothing is registered";
    Vexo::Tests::InstalledRegistry registry;
    registry.manager->AddSystemAbility(SOFTBUS_SERVER_SA_ID, laptop);

    EXPECT_EQ(CreateSessionServer(nullptr, NAME, &table), SOFTBUS_INVALID_PARAM);
    EXPECT_EQ(CreateSessionServer(PKG, "", &table), SOFTBUS_INVALID_PARAM);
    EXPECT_EQ(CreateSessionServer(PKG, longName.c_str(), &table), SOFTBUS_INVALID_PARAM);
    EXPECT_EQ(CreateSessionServer(PKG, NAME, nullptr), SOFTBUS_INVALID_PARAM);
    EXPECT_EQ(OpenSession(NAME, NAME, nullptr, "", &attribute), SOFTBUS_INVALID_PARAM);
    EXPECT_EQ(OpenSession(NAME, NAME, phoneIdentity.networkId.c_str(), "", nullptr), SOFTBUS_INVALID_PARAM);
    EXPECT_EQ(CreateSessionServer(PKG, NAME, &table), SOFTBUS_OK);

    const int id = OpenSession(NAME, NAME, phoneIdentity.networkId.c_str(), "", &attribute);
    EXPECT_EQ(atLaptop.WaitFor(Kind::OPENED, id).result, 0);
    EXPECT_EQ(SendBytes(id, "abc", 3), 0);
    EXPECT_EQ(atPhone.WaitFor(Kind::BYTES).bytes, "abc");
    char peer[NETWORK_ID_BUF_LEN] = {};
    EXPECT_EQ(GetPeerDeviceId(id, peer, sizeof(peer)), 0);
    EXPECT_EQ(peer, phoneIdentity.networkId);
    EXPECT_EQ(GetPeerDeviceId(id, peer, sizeof(peer) - 1), SOFTBUS_INVALID_PARAM);

    NodeBasicInfo* info = nullptr;
    int count = 0;
    ASSERT_EQ(GetAllNodeDeviceInfo(PKG, &info, &count), 0);
    ASSERT_EQ(count, 1);
    EXPECT_STREQ(info[0].deviceName, "phone");
    EXPECT_EQ(info[0].networkId, phoneIdentity.networkId);
    FreeNodeInfo(info);
    CloseSession(id);
    atPhone.WaitFor(Kind::CLOSED);
    EXPECT_EQ(RemoveSessionServer(PKG, NAME), 0);
}

}  // namespace

}  // namespace Vexo::SoftBus::Tests
