// Runs SessionSuite with TCP and with a lossy transport. Also tests properties of sessions that do not depend on the
// transport.
#include "platform/softbus/session.h"

#include <sys/socket.h>
#include <future>

#include <array>
#include <stdexcept>

#include "platform/base/host_port.h"
#include "platform/softbus/transport/tcp_transport.h"
#include "tests/platform/softbus/session_suite.h"
#include "tests/support/fake_ability_manager.h"
#include "tests/support/fake_peer_policy.h"
#include "tests/support/log_capture.h"

namespace Vexo::SoftBus::Tests {
namespace {

// A TCP transport that writes a few bytes at a time. A device has two addresses. Every third connect to the address
// "localhost" fails.
class LossyTransport final : public TcpTransport {
public:
    LossyTransport(asio::io_context& reactor, uint16_t& port) : TcpTransport(reactor, "127.0.0.1:0"), port_(port) {}
    std::string Name() const override { return "lossy"; }
    bool SupportsLinkType(LinkType type) const override { return type == LINK_TYPE_BR; }
    bool HasStableAddresses() const override { return false; }
    Result<std::string> Listen(Accepted accepted) override
    {
        const auto bound = TcpTransport::Listen(
            [this, accepted](Stream stream, const std::string& from) { accepted(InPieces(std::move(stream)), from); });
        port_ = ParseHostPort(bound.value()).value().port;
        return std::string();
    }
    std::shared_ptr<void> Connect(const std::string& address, std::chrono::milliseconds limit, Connected done) override
    {
        if (address.starts_with("localhost") && connects_++ % 3 == 0) {
            return TcpTransport::Connect("127.0.0.1:1", limit, std::move(done));  // Nothing listens there.
        }
        return TcpTransport::Connect(address, limit, [this, done = std::move(done)](Result<Stream> stream) {
            done(stream ? InPieces(std::move(*stream)) : std::move(stream));
        });
    }

private:
    Stream InPieces(Stream stream)
    {
        // The first stream writes the largest pieces, because tests that send megabytes use the first stream.
        constexpr std::array<size_t, 5> PIECES{1021, 1, 7, 2, 61};
        const int bufferBytes = 4096;
        EXPECT_EQ(::setsockopt(stream.socket.Get(), SOL_SOCKET, SO_SNDBUF, &bufferBytes, sizeof bufferBytes), 0);
        stream.maxWriteBytes = PIECES.at(streams_++ % PIECES.size());
        return stream;
    }

    uint16_t& port_;
    size_t connects_ = 0;
    size_t streams_ = 0;
};

class LossyWorld final : public SessionWorld {
public:
    LossyWorld() : SessionWorld(LINK_TYPE_BR) {}
    SoftBusOptions OptionsOf(Side side, const Trust::Identity& peer) override
    {
        return Over([&own = ports_.at(side)](auto& reactor) { return std::make_shared<LossyTransport>(reactor, own); },
                    "lossy", peer,
                    [&far = ports_.at(1 - side)] {
                        const std::string port = std::to_string(far);
                        return std::vector<std::string>{"localhost:" + port, "127.0.0.1:" + port};
                    });
    }

private:
    std::array<uint16_t, 2> ports_{};
};

INSTANTIATE_TEST_SUITE_P(Tcp, SessionSuite, testing::Values([] { return std::make_unique<SessionWorld>(); }));
INSTANTIATE_TEST_SUITE_P(Lossy, SessionSuite, testing::Values([] { return std::make_unique<LossyWorld>(); }));

using SessionTest = PairTest;

// A transport of the Bluetooth link type. Connect() throws an exception.
class ThrowingTransport : public Transport {
public:
    std::string Name() const override { return "throwing"; }
    bool SupportsLinkType(LinkType type) const override { return type == LINK_TYPE_BR; }
    Result<std::string> Listen(Accepted /*accepted*/) override { return std::string("here"); }
    Result<void> CheckAddress(const std::string& /*address*/) const override { return {}; }
    std::shared_ptr<void> Connect(const std::string& /*address*/, std::chrono::milliseconds /*limit*/,
                                  Connected /*done*/) override
    {
        throw std::runtime_error("no connect today");
    }
    void Stop() override {}
};

TEST_F(SessionTest, ExceptionOnReactorIsLoggedAndDeviceContinues)
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

TEST_F(SessionTest, RefusedOpenerGetsReasonBeforeOpenedCallback)
{
    Vexo::Tests::FakePeerPolicy servers;
    Vexo::Tests::FakePeerPolicy openers;
    SoftBusOptions options;
    options.policy = &servers;
    options.openSessions = {"test.free"};
    const Trust::Identity tabletIdentity = account.Enrol("tablet");
    const auto tablet = StartBus(tabletIdentity, "tablet", {}, options);
    options.policy = &openers;
    const auto watch = StartBus(account.Enrol("watch"), "watch", {tablet->ListenAddress()}, options);
    const std::string watchId = watch->LocalNode().networkId;
    for (const char* name : {NAME, "test.free", "test.never"}) {
        ASSERT_EQ(watch->CreateSessionServer(PKG, name, Listener<0>::Table()), 0);
    }
    for (const char* name : {NAME, "test.free"}) {
        ASSERT_EQ(tablet->CreateSessionServer(PKG, name, Listener<1>::Table()), 0);
    }
    ASSERT_TRUE(Meet(watch, tablet));
    const Vexo::Tests::LogCapture log;
    struct Row {
        const char* server;
        PeerRefusal answer;
        int result;
        std::string atTablet;
        std::string atWatch;
    };
    const auto refused = [&](int value) { return "refused " + tabletIdentity.networkId + " " + std::to_string(value); };
    for (const Row& row : std::vector<Row>{
             {NAME, PeerRefusal::NONE, SOFTBUS_OK, "admit " + watchId, ""},
             {NAME, PeerRefusal::OWNER_ASKED, SOFTBUS_PEER_REFUSED, "admit " + watchId, refused(-101)},
             {"test.never", PeerRefusal::DATA_LIMIT, SOFTBUS_PEER_REFUSED, "admit " + watchId, refused(-104)},
             {"test.free", PeerRefusal::NOT_ALLOWED, SOFTBUS_OK, "", ""}}) {
        servers.answer = row.answer;
        std::promise<std::vector<std::string>> heard;
        atLaptop.Clear();
        atLaptop.OnEvent(Kind::OPENED, [&](const Event&) { heard.set_value(openers.Take()); });
        const auto began = std::chrono::steady_clock::now();
        const int id = watch->OpenSession(row.server, row.server, tabletIdentity.networkId, ByteSession());
        EXPECT_EQ(atLaptop.WaitFor(Kind::OPENED, id).result, row.result) << row.server;
        EXPECT_LT(std::chrono::steady_clock::now() - began, 2s) << "it waited for a session server";
        const std::vector<std::string> heardBefore = heard.get_future().get();
        atLaptop.Clear();
        EXPECT_EQ(heardBefore, row.atWatch.empty() ? std::vector<std::string>{} : std::vector{row.atWatch});
        EXPECT_EQ(servers.Take(), row.atTablet.empty() ? std::vector<std::string>{} : std::vector{row.atTablet});
    }
    // If the owner's rules start to refuse the other device, the next message on an open session closes that session.
    servers.answer = PeerRefusal::NONE;
    const int id = watch->OpenSession(NAME, NAME, tabletIdentity.networkId, ByteSession());
    ASSERT_EQ(atLaptop.WaitFor(Kind::OPENED, id).result, SOFTBUS_OK);
    servers.answer = PeerRefusal::NOT_ALLOWED;
    atPhone.Clear();
    ASSERT_EQ(watch->SendBytes(id, "again", 5), SOFTBUS_OK);
    atLaptop.WaitFor(Kind::CLOSED, id);
    EXPECT_TRUE(atPhone.All().empty() || atPhone.All().front().kind == Kind::CLOSED);
    EXPECT_EQ(log.Count("refused by the owner's rules: OWNER_ASKED"), 1u);
    EXPECT_EQ(log.Count("refused by the owner's rules"), 1u) << "one line a minute";
    // In a session that this device has opened, a device that the rules refuse may answer, but not request anything.
    atPhone.WaitFor(Kind::CLOSED);
    atPhone.Clear();
    servers.answer = PeerRefusal::NONE;
    openers.answer = PeerRefusal::NOT_ALLOWED;
    const int own = watch->OpenSession(NAME, NAME, tabletIdentity.networkId, ByteSession());
    ASSERT_EQ(atLaptop.WaitFor(Kind::OPENED, own).result, SOFTBUS_OK);
    const int theirs = atPhone.WaitFor(Kind::OPENED).id;
    ASSERT_EQ(tablet->SendBytes(theirs, "answer", 6), SOFTBUS_OK);
    EXPECT_EQ(atLaptop.WaitFor(Kind::BYTES, own).bytes, "answer");
    const std::string_view request = Vexo::Tests::FakePeerPolicy::REQUEST;
    ASSERT_EQ(tablet->SendBytes(theirs, request.data(), static_cast<unsigned>(request.size())), SOFTBUS_OK);
    atLaptop.WaitFor(Kind::CLOSED, own);
    EXPECT_EQ(atLaptop.Count(Kind::BYTES, own), 1u);
}

TEST_F(SessionTest, PlainFunctionsCheckArgumentsAndCallAbility)
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
