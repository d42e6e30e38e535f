// Peers that break the rules, vanish or fall silent.
#include <algorithm>

#include "platform/softbus/sessions.h"
#include "tests/platform/softbus/device_fixture.h"
#include "tests/support/log_capture.h"

namespace Vexo::SoftBus::Tests {
namespace {

using namespace std::chrono_literals;

// A device of the account besides the phone and the laptop, connected to the phone.
class HostilePeerTest : public PairTest {
protected:
    void SetUp() override
    {
        PairTest::SetUp();
        peer = Connect();
    }
    // Opens a session, and returns its id at the phone.
    int Open(Bare& by)
    {
        EXPECT_TRUE(by.Handshake());
        EXPECT_TRUE(by.WriteFrame(FrameKind::OPEN, EncodeOpen({TYPE_BYTES, NAME, "bare"})));
        Frame frame;
        EXPECT_TRUE(by.ReadFrame(frame));
        EXPECT_EQ(frame.kind, FrameKind::OPENED);
        EXPECT_EQ(DecodeOpened(frame.payload).value(), 0);
        return atPhone.WaitFor(Kind::OPENED).id;
    }
    std::unique_ptr<Bare> Connect() { return std::make_unique<Bare>(phone->ListenAddress(), identity); }

    Trust::Identity identity = account.Enrol("peer");
    std::unique_ptr<Bare> peer;
};

std::string Framed(FrameKind kind, const std::string& payload)
{
    return EncodeHeader(kind, payload.size()) + payload;
}

TEST_F(HostilePeerTest, BrokenFramesCloseTheConnectionWithOneLine)
{
    const struct {
        const char* fault;
        std::string bytes;
        const char* line;
    } faults[] = {
        {"unknown kind", EncodeHeader(static_cast<FrameKind>(99), 0), "unknown frame kind 99"},
        {"DATA before OPEN", EncodeHeader(FrameKind::DATA, 1) + "x", "neither HELLO nor OPEN"},
        {"damaged HELLO", EncodeHeader(FrameKind::HELLO, 3) + "abc", "HELLO ends within a field"},
        {"a name that is no UTF-8", Framed(FrameKind::HELLO, EncodeHello({0, identity.deviceId, "\xFF", {}, 0})),
         "not 1 to 127 bytes of UTF-8"},
        {"a session name that is no UTF-8", Framed(FrameKind::OPEN, EncodeOpen({TYPE_BYTES, "\xC0\xAF", "b"})),
         "empty or not UTF-8"},
        {"damaged OPEN", EncodeHeader(FrameKind::OPEN, 3) + "abc", "OPEN ends within a field"},
    };
    for (const auto& fault : faults) {
        const Vexo::Tests::LogCapture log;
        peer = Connect();
        ASSERT_TRUE(peer->Handshake());
        ASSERT_TRUE(peer->Write(fault.bytes));
        EXPECT_TRUE(peer->WaitForEnd()) << fault.fault;
        EXPECT_TRUE(log.WaitFor(fault.line)) << fault.fault;
    }
    EXPECT_TRUE(atPhone.All().empty());
}

TEST_F(HostilePeerTest, StrangerIsClosedWithTheReason)
{
    const Vexo::Tests::LogCapture log;
    Bare stranger(phone->ListenAddress(), Trust::Tests::Devices().Enrol("stranger"));
    stranger.TrustAnyServer();
    stranger.Handshake();
    EXPECT_TRUE(stranger.WaitForEnd());
    EXPECT_TRUE(log.WaitFor("certificate not signed by this account"));
}

TEST_F(HostilePeerTest, CrashOrMisplacedFrameClosesTheSessionAfterItsBytes)
{
    for (const bool crashes : {true, false}) {
        peer = Connect();
        atPhone.Clear();
        const int id = Open(*peer);
        peer->WriteFrame(FrameKind::DATA, "last words");
        EXPECT_EQ(atPhone.WaitFor(Kind::BYTES, id).bytes, "last words");
        if (crashes) {
            peer->Crash();
        } else {
            peer->Write(EncodeHeader(FrameKind::OPENED, 4) + EncodeOpened(0) + EncodeHeader(FrameKind::DATA, 1) + "x");
            EXPECT_TRUE(peer->WaitForEnd());
        }
        atPhone.WaitFor(Kind::CLOSED, id);
        EXPECT_EQ(phone->SendBytes(id, "x", 1), SOFTBUS_NO_SUCH_SESSION);
        EXPECT_EQ(phone->Counts().sessions, 0u);
        EXPECT_EQ(atPhone.All().size(), 3u);
    }
}

TEST_F(HostilePeerTest, SilentPeerIsPingedAndGivenUpWhileAnIdleOneStays)
{
    const auto [mine, theirs] = OpenPair();
    atPhone.Clear();
    const int id = Open(*peer);
    const auto began = std::chrono::steady_clock::now();
    Frame frame;
    ASSERT_TRUE(peer->ReadFrame(frame));
    EXPECT_EQ(frame.kind, FrameKind::PING);
    EXPECT_GE(std::chrono::steady_clock::now() - began, 1900ms);
    const Event closed = atPhone.WaitFor(Kind::CLOSED, id);
    EXPECT_GE(closed.when - began, 5900ms);
    EXPECT_LT(closed.when - began, 7500ms);
    ASSERT_TRUE(Eventually([&] { return std::chrono::steady_clock::now() - began > SILENCE_LIMIT + 1s; }));
    EXPECT_EQ(laptop->SendBytes(mine, "still here", 10), 0);
    EXPECT_EQ(atPhone.WaitFor(Kind::BYTES, theirs).bytes, "still here");
}

TEST_F(HostilePeerTest, PeerIsLimitedToItsShareOfSessions)
{
    SoftBusOptions options;
    options.maxSessions = 4;
    options.peerShare = 3;
    const auto small = StartBus(account.Enrol("small"), "small", {phone->ListenAddress()}, options);
    const std::string smallId = small->LocalNode().networkId;
    ASSERT_EQ(small->CreateSessionServer(PKG, NAME, Listener<0>::Table()), 0);
    ASSERT_TRUE(Meet(small, phone));
    const Vexo::Tests::LogCapture log;
    // The peer opens one after another; the last of its share waits for a server that nobody has.
    std::vector<std::unique_ptr<Bare>> opens;
    const auto answer = [&](const char* server, bool waits) {
        opens.push_back(std::make_unique<Bare>(small->ListenAddress(), identity));
        EXPECT_TRUE(opens.back()->Handshake());
        EXPECT_TRUE(opens.back()->WriteFrame(FrameKind::OPEN, EncodeOpen({TYPE_BYTES, server, "bare"})));
        Frame frame;
        return !waits && opens.back()->ReadFrame(frame) ? DecodeOpened(frame.payload).value() : 1;
    };
    EXPECT_EQ(answer(NAME, false), SOFTBUS_OK);
    EXPECT_EQ(answer(NAME, false), SOFTBUS_OK);
    answer("test.never", true);
    ASSERT_TRUE(Eventually([&] { return small->Counts().pendingOpens == 1; }));
    EXPECT_EQ(answer(NAME, false), SOFTBUS_PEER_SHARE);
    EXPECT_EQ(log.Count("is refused: that device has its share open"), 1u);

    const auto openedTo = [&](const sptr<SoftBusServer>& by, Recorder& at, const std::string& whom) {
        const int id = by->OpenSession(NAME, NAME, whom, ByteSession());
        return at.WaitFor(Kind::OPENED, id).result;
    };
    atPhone.Clear();
    EXPECT_EQ(openedTo(phone, atPhone, smallId), SOFTBUS_OK) << "another peer";
    atLaptop.Clear();
    EXPECT_EQ(openedTo(small, atLaptop, phoneIdentity.networkId), SOFTBUS_OK) << "its own open";
    EXPECT_EQ(small->OpenSession(NAME, NAME, phoneIdentity.networkId, ByteSession()), SOFTBUS_LIMIT);
    opens.front().reset();
    ASSERT_TRUE(Eventually([&] { return answer(NAME, false) == SOFTBUS_OK; })) << "once one has ended";
}

TEST_F(HostilePeerTest, SilentConnectionsAreClosedAndBlockNobody)
{
    std::vector<std::unique_ptr<Bare>> mute(70);
    std::generate(mute.begin(), mute.end(), [this] { return Connect(); });
    peer = Connect();
    Open(*peer);
    EXPECT_TRUE(mute.front()->WaitForEnd()) << "its handshake took too long";
}

}  // namespace
}  // namespace Vexo::SoftBus::Tests
