// Sessions between two devices: opening, bytes, closing, and what the contracts say of their callbacks.
#include "platform/softbus/session.h"

#include <algorithm>
#include <atomic>
#include <stdexcept>

#include "tests/platform/softbus/device_fixture.h"
#include "tests/support/fake_ability_manager.h"
#include "tests/support/log_capture.h"

namespace Vexo::SoftBus::Tests {
namespace {

using namespace std::chrono_literals;

int Send(const sptr<SoftBusServer>& bus, int id, const std::string& bytes)
{
    return bus->SendBytes(id, bytes.data(), static_cast<unsigned int>(bytes.size()));
}

class SessionTest : public PairTest {};

TEST_F(SessionTest, OpenedCallbackComesOnceAndAfterAMillisecond)
{
    int last = 0;
    for (int round = 0; round < 20; ++round) {
        const int id = Open();
        const auto returned = std::chrono::steady_clock::now();
        const Event opened = atLaptop.WaitFor(Kind::OPENED, id);
        EXPECT_EQ(opened.result, 0);
        EXPECT_GE(opened.when - returned, 1ms);
        EXPECT_NE(opened.thread, std::this_thread::get_id());
        EXPECT_NE(std::exchange(last, id), id) << "not reused soon";
        laptop->CloseSession(id);
        ASSERT_TRUE(Eventually([&] { return phone->Counts().sessions == 0; }));
        EXPECT_EQ(atLaptop.Count(Kind::OPENED, id), 1u);
    }
}

TEST_F(SessionTest, LocalFailuresAreNegativeWithoutACallback)
{
    const std::string peer = phoneIdentity.networkId;
    const struct {
        const char* what;
        std::string name;
        std::string peer;
        SessionAttribute attribute;
        int result;
    } cases[] = {
        {"empty name", "", peer, ByteSession(), SOFTBUS_INVALID_PARAM},
        {"name of 256", std::string(256, 'n'), peer, ByteSession(), SOFTBUS_INVALID_PARAM},
        {"no link types", NAME, peer, {TYPE_BYTES, 0, {LINK_TYPE_WIFI_5G}}, SOFTBUS_INVALID_PARAM},
        {"11 link types", NAME, peer, {TYPE_BYTES, 11, {LINK_TYPE_WIFI_5G}}, SOFTBUS_INVALID_PARAM},
        {"no data type", NAME, peer, {0, 1, {LINK_TYPE_WIFI_5G}}, SOFTBUS_INVALID_PARAM},
        {"unknown peer", NAME, std::string(64, '0'), ByteSession(), SOFTBUS_NO_SUCH_PEER},
        {"itself", NAME, laptopIdentity.networkId, ByteSession(), SOFTBUS_NO_SUCH_PEER},
        {"a link type without transport", NAME, peer, {TYPE_BYTES, 1, {LINK_TYPE_BR}}, SOFTBUS_NO_LINK},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(laptop->OpenSession(c.name, NAME, c.peer, c.attribute), c.result) << c.what;
    }
    EXPECT_EQ(Send(laptop, 12345, "x"), SOFTBUS_NO_SUCH_SESSION);
    laptop->CloseSession(12345);
    EXPECT_TRUE(atLaptop.All().empty());
    EXPECT_EQ(laptop->Counts().pendingOpens, 0u);
}

TEST_F(SessionTest, BytesAcceptedBeforeACloseArriveThenOneClosedAtTheOtherSideOnly)
{
    const auto [mine, theirs] = OpenPair();
    const std::string largest(MAX_SESSION_BYTES, 'L');
    EXPECT_EQ(Send(laptop, mine, largest + "x"), SOFTBUS_INVALID_PARAM);
    EXPECT_EQ(Send(laptop, mine, ""), SOFTBUS_INVALID_PARAM);
    EXPECT_EQ(laptop->SendBytes(mine, nullptr, 1), SOFTBUS_INVALID_PARAM);
    ASSERT_EQ(Send(laptop, mine, "first"), 0);
    ASSERT_EQ(Send(laptop, mine, largest), 0);
    ASSERT_EQ(Send(phone, theirs, "crossing"), 0);
    laptop->CloseSession(mine);
    EXPECT_EQ(Send(laptop, mine, "late"), SOFTBUS_NO_SUCH_SESSION);

    atPhone.WaitFor(Kind::CLOSED, theirs);
    EXPECT_EQ(Send(phone, theirs, "late"), SOFTBUS_NO_SUCH_SESSION);
    const std::vector<Event> events = atPhone.All();
    ASSERT_EQ(events.size(), 4u);
    EXPECT_EQ(events[1].bytes, "first");
    EXPECT_TRUE(events[2].bytes == largest);
    ASSERT_TRUE(Eventually([&] { return laptop->Counts().sessions == 0; }));
    EXPECT_EQ(atLaptop.Count(Kind::CLOSED, mine), 0u);
}

TEST_F(SessionTest, ClosingFromCallbacksOrBeforeTheOpenedOneIsSafe)
{
    atPhone.OnEvent(Kind::BYTES, [this](const Event& event) {
        Send(phone, event.id, "bye");
        phone->CloseSession(event.id);
    });
    const int id = Open();
    atLaptop.WaitFor(Kind::OPENED, id);
    Send(laptop, id, "close, please");
    atLaptop.WaitFor(Kind::CLOSED, id);
    EXPECT_EQ(atLaptop.All()[1].bytes, "bye");
    EXPECT_EQ(atLaptop.Count(Kind::CLOSED, id), 1u);

    atLaptop.OnEvent(Kind::OPENED, [this](const Event& event) { laptop->CloseSession(event.id); });
    const int other = Open();
    atPhone.WaitFor(Kind::CLOSED);
    EXPECT_EQ(atLaptop.Count(Kind::CLOSED, other), 0u);

    atLaptop.Clear();
    const int early = Open();
    laptop->CloseSession(early);
    EXPECT_EQ(atLaptop.WaitFor(Kind::OPENED, early).result, SOFTBUS_NO_SUCH_SESSION);
    ASSERT_TRUE(Eventually([&] { return laptop->Counts().pendingOpens == 0 && phone->Counts().sessions == 0; }));
    EXPECT_EQ(atLaptop.All().size(), 1u);
}

TEST_F(SessionTest, SlowPeerFillsTheQueueAndLosesNothing)
{
    const std::pair<int, int> ids = OpenPair();
    std::atomic<bool> hold{true};
    std::atomic<size_t> taken{0};
    atPhone.OnEvent(Kind::BYTES, [&](const Event& event) {
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
    atPhone.Clear();
}

TEST_F(SessionTest, FiftySessionsAndThePeersHaveDistinctIds)
{
    const auto echo = [this](const Event& event) { Send(phone, event.id, "echo " + event.bytes); };
    atPhone.OnEvent(Kind::BYTES, echo);
    atLaptop.OnEvent(Kind::OPENED, [this](const Event& event) { Send(laptop, event.id, std::to_string(event.id)); });
    std::vector<int> ids(50);
    std::generate(ids.begin(), ids.end(), [this] { return Open(); });
    for (const int id : ids) {
        EXPECT_EQ(atLaptop.WaitFor(Kind::BYTES, id).bytes, "echo " + std::to_string(id));
    }
    const int back = phone->OpenSession(NAME, NAME, laptopIdentity.networkId, ByteSession());
    atPhone.WaitFor(Kind::BYTES, back);
    EXPECT_EQ(atPhone.Count(Kind::OPENED, back), 1u) << "one space of ids for both directions";
    laptop->Stop();
    EXPECT_TRUE(Eventually([&] { return phone->Counts().sessions == 0; }));
    EXPECT_EQ(atLaptop.Count(Kind::CLOSED, ids.back()), 0u);
}

// A way of the link type for Bluetooth whose connects throw.
class ThrowingTransport : public Transport {
public:
    std::string Name() const override { return "throwing"; }
    bool Carries(LinkType type) const override { return type == LINK_TYPE_BR; }
    Result<std::string> Listen(Accepted /*accepted*/) override { return std::string("here"); }
    Result<void> CheckAddress(const std::string& /*address*/) const override { return {}; }
    std::shared_ptr<void> Connect(const std::string& /*address*/, std::chrono::milliseconds /*limit*/,
                                  Connected /*done*/) override
    {
        throw std::runtime_error("no connect today");
    }
    void Stop() override {}
};

TEST_F(SessionTest, ExceptionOnTheReactorIsLoggedAndTheDeviceWorksOn)
{
    SoftBusOptions options;
    options.moreTransports = {[](asio::io_context&) { return std::make_shared<ThrowingTransport>(); }};
    options.onlineChanged = [] { throw std::runtime_error("nobody cares"); };
    const auto tablet = StartBus(account.Enrol("tablet"), "tablet", {}, options);
    options.onlineChanged = nullptr;
    const Trust::Identity watchIdentity = account.Enrol("watch");
    const Vexo::Tests::LogCapture log;
    const auto watch = StartBus(watchIdentity, "watch", {tablet->ListenAddress()}, options);
    ASSERT_EQ(tablet->CreateSessionServer(PKG, NAME, Listener<0>::Table()), 0);
    ASSERT_EQ(watch->CreateSessionServer(PKG, NAME, Listener<1>::Table()), 0);
    ASSERT_TRUE(Meet(tablet, watch));
    EXPECT_TRUE(log.WaitFor("online callback ended by an exception: nobody cares"));

    const SessionAttribute byBluetooth{TYPE_BYTES, 1, {LINK_TYPE_BR}};
    EXPECT_GT(tablet->OpenSession(NAME, NAME, watchIdentity.networkId, byBluetooth), 0);
    EXPECT_TRUE(log.WaitFor("reactor work ended by an exception: no connect today"));
    const int id = tablet->OpenSession(NAME, NAME, watchIdentity.networkId, ByteSession());
    EXPECT_EQ(atLaptop.WaitFor(Kind::OPENED, id).result, 0);
    watch->Stop();
    EXPECT_TRUE(Eventually([&] { return !SeesOnline(tablet, watchIdentity.networkId); }));
}

TEST_F(SessionTest, WaitsForItsOwnServerAndForThePeers)
{
    const char late[] = "test.late";
    const int id = laptop->OpenSession(late, late, phoneIdentity.networkId, ByteSession());
    EXPECT_TRUE(Eventually([&] { return laptop->Counts().pendingOpens == 1; }));
    ASSERT_EQ(laptop->CreateSessionServer(PKG, late, Listener<0>::Table()), 0);
    EXPECT_TRUE(Eventually([&] { return phone->Counts().pendingOpens == 1; })) << "the peer waits in turn";
    ASSERT_EQ(phone->CreateSessionServer(PKG, late, Listener<1>::Table()), 0);
    EXPECT_EQ(atLaptop.WaitFor(Kind::OPENED, id).result, 0);
}

TEST_F(SessionTest, OpenFailsWithinItsLimitWithoutAServerAndAtOnceWhenStopping)
{
    const auto began = std::chrono::steady_clock::now();
    const int id = Open("test.never");
    EXPECT_EQ(atLaptop.WaitFor(Kind::OPENED, id).result, SOFTBUS_PEER_REFUSED);
    EXPECT_LT(std::chrono::steady_clock::now() - began, 8s);
    EXPECT_EQ(Send(laptop, id, "x"), SOFTBUS_NO_SUCH_SESSION);

    const int stopped = Open("test.never");
    ASSERT_TRUE(Eventually([&] { return phone->Counts().pendingOpens == 1; }));
    laptop->Stop();
    EXPECT_EQ(atLaptop.WaitFor(Kind::OPENED, stopped).result, SOFTBUS_UNAVAILABLE);
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
}

TEST_F(SessionTest, PlainFunctionsCheckTheirArgumentsAndReachTheAbility)
{
    const ISessionListener table = Listener<0>::Table();
    const char* peer = phoneIdentity.networkId.c_str();
    const SessionAttribute attribute = ByteSession();
    EXPECT_EQ(CreateSessionServer(PKG, NAME, &table), SOFTBUS_UNAVAILABLE) << "nothing is registered";
    Vexo::Tests::InstalledRegistry registry;
    registry.manager->AddSystemAbility(SOFTBUS_SERVER_SA_ID, laptop);

    EXPECT_EQ(CreateSessionServer(PKG, NAME, nullptr), SOFTBUS_INVALID_PARAM);
    EXPECT_EQ(OpenSession(NAME, NAME, nullptr, "", &attribute), SOFTBUS_INVALID_PARAM);
    EXPECT_EQ(OpenSession(NAME, NAME, peer, "", nullptr), SOFTBUS_INVALID_PARAM);

    const int id = OpenSession(NAME, NAME, peer, "", &attribute);
    EXPECT_EQ(atLaptop.WaitFor(Kind::OPENED, id).result, 0);
    char found[NETWORK_ID_BUF_LEN] = {};
    EXPECT_EQ(GetPeerDeviceId(id, found, sizeof(found) - 1), SOFTBUS_INVALID_PARAM);
    EXPECT_EQ(GetPeerDeviceId(id, found, sizeof(found)), 0);
    EXPECT_STREQ(found, peer);

    NodeBasicInfo* info = nullptr;
    int count = 0;
    ASSERT_EQ(GetAllNodeDeviceInfo(PKG, &info, &count), 0);
    ASSERT_EQ(count, 1);
    EXPECT_STREQ(info[0].deviceName, "phone");
    EXPECT_STREQ(info[0].networkId, peer);
    FreeNodeInfo(info);
}

}  // namespace
}  // namespace Vexo::SoftBus::Tests
