// Peers that break the rules, vanish or fall silent.
#include <gtest/gtest.h>

#include "platform/softbus/sessions.h"
#include "tests/platform/softbus/device_fixture.h"
#include "tests/support/log_capture.h"

namespace Vexo::SoftBus::Tests {

namespace {

using Kind = Event::Kind;
using namespace std::chrono_literals;

class HostilePeerTest : public testing::Test {
protected:
    void SetUp() override
    {
        atPhone.Clear();
        ASSERT_EQ(phone->CreateSessionServer(PKG, NAME, Listener<2>::Table()), 0);
    }
    void TearDown() override { phone->Stop(); }

    // A peer of the account with an open session, and its id at the phone.
    int OpenBare(Bare& peer)
    {
        EXPECT_TRUE(peer.Handshake());
        EXPECT_TRUE(peer.WriteFrame(FrameKind::OPEN, EncodeOpen({TYPE_BYTES, NAME, "bare"})));
        Frame frame;
        EXPECT_TRUE(peer.ReadFrame(frame));
        EXPECT_EQ(frame.kind, FrameKind::OPENED);
        EXPECT_EQ(DecodeOpened(frame.payload).Value(), 0);
        return atPhone.WaitFor(Kind::OPENED).id;
    }

    Account account;
    Trust::Identity phoneIdentity = account.NewDevice();
    Trust::Identity laptopIdentity = account.NewDevice();
    sptr<SoftBusServer> phone = StartBus(phoneIdentity, "phone");
    Recorder& atPhone = Listener<2>::Events();
};

TEST_F(HostilePeerTest, StrangersAndExpiredOnesGetNothingButAClosedConnection)
{
    Account otherAccount;
    const Trust::Identity others[] = {otherAccount.NewDevice(), account.NewDevice(std::chrono::hours(-1))};
    for (const Trust::Identity& other : others) {
        const Vexo::Tests::LogCapture log;
        Bare peer(phone->ListenAddress(), other);
        // A TLS 1.3 client is done before the server has seen its certificate, so what it writes tells nothing.
        if (peer.Handshake()) {
            peer.WriteFrame(FrameKind::OPEN, EncodeOpen({TYPE_BYTES, NAME, "bare"}));
        }
        Frame frame;
        EXPECT_FALSE(peer.ReadFrame(frame));
        EXPECT_TRUE(peer.WaitForEnd());
        EXPECT_TRUE(log.WaitFor("was refused"));
    }
    EXPECT_TRUE(atPhone.All().empty());
    EXPECT_TRUE(phone->Nodes().empty());
}

TEST_F(HostilePeerTest, BrokenFramesCloseTheConnectionWithOneLine)
{
    const std::string open = EncodeHeader(FrameKind::OPEN, 14) + EncodeOpen({TYPE_BYTES, NAME, "bare"}).substr(0, 14);
    const struct {
        const char* fault;
        std::string bytes;
        const char* line;
    } faults[] = {
        {"4 MiB + 1", EncodeHeader(FrameKind::DATA, MAX_SESSION_BYTES + 1), "DATA of 4194305 bytes"},
        {"unknown kind", EncodeHeader(static_cast<FrameKind>(99), 0), "unknown frame kind 99"},
        {"DATA before OPEN", EncodeHeader(FrameKind::DATA, 1) + "x", "neither HELLO nor OPEN"},
        {"damaged HELLO", EncodeHeader(FrameKind::HELLO, 3) + "abc", "HELLO ends within a field"},
        {"damaged OPEN", open, "OPEN ends within a field"},
    };
    for (const auto& fault : faults) {
        const Vexo::Tests::LogCapture log;
        Bare peer(phone->ListenAddress(), laptopIdentity);
        ASSERT_TRUE(peer.Handshake());
        ASSERT_TRUE(peer.Write(fault.bytes));
        EXPECT_TRUE(peer.WaitForEnd()) << fault.fault;
        EXPECT_TRUE(log.WaitFor(fault.line)) << fault.fault;
    }
    EXPECT_TRUE(atPhone.All().empty());
}

TEST_F(HostilePeerTest, AFrameOutOfPlaceEndsAnOpenSessionWithOneClosed)
{
    Bare peer(phone->ListenAddress(), laptopIdentity);
    const int id = OpenBare(peer);
    peer.WriteFrame(FrameKind::DATA, "fine");
    peer.WriteFrame(FrameKind::OPENED, EncodeOpened(0));
    peer.WriteFrame(FrameKind::DATA, "too late");
    atPhone.WaitFor(Kind::CLOSED, id);
    EXPECT_EQ(atPhone.Count(Kind::BYTES, id), 1u);
    EXPECT_TRUE(peer.WaitForEnd());
}

TEST_F(HostilePeerTest, ACrashedPeerEndsInOneClosedAfterWhatItSent)
{
    Bare peer(phone->ListenAddress(), laptopIdentity);
    const int id = OpenBare(peer);
    peer.WriteFrame(FrameKind::DATA, "last words");
    atPhone.WaitFor(Kind::BYTES, id);
    peer.Crash();
    atPhone.WaitFor(Kind::CLOSED, id);
    EXPECT_EQ(phone->SendBytes(id, "x", 1), SOFTBUS_NO_SUCH_SESSION);
    EXPECT_EQ(atPhone.Count(Kind::CLOSED, id), 1u);
    EXPECT_EQ(phone->Counts().sessions, 0u);
}

TEST_F(HostilePeerTest, ASilentPeerIsPingedAndGivenUpAfterSixSeconds)
{
    Bare peer(phone->ListenAddress(), laptopIdentity);
    const int id = OpenBare(peer);
    const auto began = std::chrono::steady_clock::now();
    Frame frame;
    ASSERT_TRUE(peer.ReadFrame(frame));
    EXPECT_EQ(frame.kind, FrameKind::PING);
    EXPECT_GE(std::chrono::steady_clock::now() - began, 1900ms);
    const Event closed = atPhone.WaitFor(Kind::CLOSED, id);
    EXPECT_GE(closed.when - began, 5900ms);
    EXPECT_LT(closed.when - began, 7500ms);
    EXPECT_EQ(atPhone.Count(Kind::CLOSED, id), 1u);
}

TEST_F(HostilePeerTest, AnIdleSessionStaysOpen)
{
    const auto laptop = StartBus(laptopIdentity, "laptop", {phone->ListenAddress()});
    ASSERT_EQ(laptop->CreateSessionServer(PKG, NAME, Listener<3>::Table()), 0);
    ASSERT_TRUE(Eventually([&] { return SeesOnline(laptop, phoneIdentity.networkId); }));
    Recorder& atLaptop = Listener<3>::Events();
    atLaptop.Clear();
    const int id = laptop->OpenSession(NAME, NAME, phoneIdentity.networkId, ByteSession());
    const Event opened = atLaptop.WaitFor(Kind::OPENED, id);
    ASSERT_TRUE(Eventually([&] { return std::chrono::steady_clock::now() - opened.when > SILENCE_LIMIT + 1s; }));
    EXPECT_EQ(atLaptop.Count(Kind::CLOSED, id), 0u);
    EXPECT_EQ(laptop->SendBytes(id, "still here", 10), 0);
    EXPECT_EQ(atPhone.WaitFor(Kind::BYTES).bytes, "still here");
}

TEST_F(HostilePeerTest, ConnectionsThatSayNothingAreClosedAndDoNotStopOthers)
{
    std::vector<std::unique_ptr<Bare>> mute;
    for (int i = 0; i < 70; ++i) {
        mute.push_back(std::make_unique<Bare>(phone->ListenAddress(), laptopIdentity));
    }
    Bare good(phone->ListenAddress(), laptopIdentity);
    OpenBare(good);
    EXPECT_TRUE(mute.front()->WaitForEnd()) << "its handshake took too long";
}

TEST_F(HostilePeerTest, ADeviceThatCrashesLeavesTheListWhenReconnectingFails)
{
    Bare peer(phone->ListenAddress(), laptopIdentity);
    ASSERT_TRUE(peer.Handshake());
    ASSERT_TRUE(peer.WriteFrame(
        FrameKind::HELLO,
        EncodeHello({DEVICE_TYPE_LAPTOP, laptopIdentity.deviceId, "laptop", {{"tcp", "127.0.0.1:1"}}})));
    Frame frame;
    ASSERT_TRUE(peer.ReadFrame(frame));
    EXPECT_EQ(DecodeHello(frame.payload).Value().deviceName, "phone");
    ASSERT_TRUE(Eventually([&] { return SeesOnline(phone, laptopIdentity.networkId); }));
    peer.Crash();
    EXPECT_TRUE(Eventually([&] { return !SeesOnline(phone, laptopIdentity.networkId); }));
    EXPECT_EQ(phone->Counts().presenceLinks, 0u);
}

}  // namespace

}  // namespace Vexo::SoftBus::Tests
