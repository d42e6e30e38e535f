// Tests the soft bus with peers that break the protocol, crash or stop answering.
#include <algorithm>
#include <future>

#include "platform/softbus/link/admission.h"
#include "platform/softbus/sessions/sessions.h"
#include "tests/platform/softbus/device_fixture.h"
#include "tests/support/log_capture.h"

namespace Vexo::SoftBus::Tests {
namespace {

using namespace std::chrono_literals;

// A fixture with a third device of the account. The test builds that device's messages by hand. The device is connected
// to the phone.
class HostilePeerTest : public PairTest {
protected:
    void SetUp() override
    {
        PairTest::SetUp();
        peer = Connect();
    }
    // Opens a session to the phone. Returns the session's id on the phone. by: the device that opens the session.
    int Open(Bare& by)
    {
        EXPECT_TRUE(by.Handshake() && by.Greet());
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

TEST_F(HostilePeerTest, BrokenFramesCloseConnectionWithOneLogLine)
{
    const struct {
        const char* fault;
        bool greets;
        std::string bytes;
        const char* line;
    } faults[] = {
        {"unknown kind", true, EncodeHeader(static_cast<FrameKind>(99), 0), "unknown frame kind 99"},
        {"DATA before OPEN", true, EncodeHeader(FrameKind::DATA, 1) + "x", "only OPEN, GOODBYE or CLOSE"},
        {"OPEN before HELLO", false, Framed(FrameKind::OPEN, EncodeOpen({TYPE_BYTES, NAME, "b"})),
         "first frame is not HELLO"},
        {"damaged HELLO", false, EncodeHeader(FrameKind::HELLO, 3) + "abc", "HELLO ends within a field"},
        {"a name that is no UTF-8", false, Framed(FrameKind::HELLO, EncodeHello({0, identity.deviceId, "\xFF", {}, 0})),
         "not 1 to 127 bytes of UTF-8"},
        {"a session name that is no UTF-8", true, Framed(FrameKind::OPEN, EncodeOpen({TYPE_BYTES, "\xC0\xAF", "b"})),
         "empty or not UTF-8"},
        {"damaged OPEN", true, EncodeHeader(FrameKind::OPEN, 3) + "abc", "OPEN ends within a field"},
    };
    for (const auto& fault : faults) {
        const Vexo::Tests::LogCapture log;
        peer = Connect();
        ASSERT_TRUE(peer->Handshake());
        ASSERT_TRUE(!fault.greets || peer->Greet());
        ASSERT_TRUE(peer->Write(fault.bytes));
        EXPECT_TRUE(peer->WaitForEnd()) << fault.fault;
        EXPECT_TRUE(log.WaitFor(fault.line)) << fault.fault;
    }
    EXPECT_TRUE(atPhone.All().empty());
}

// A peer must prove in time that it belongs to the account. Otherwise the phone sends only the challenge of 16 bytes
// and closes the connection.
TEST_F(HostilePeerTest, WrongOrLateProofClosesConnection)
{
    const std::string message = peer->FirstMessage();
    const std::string other = Connect()->FirstMessage();
    const auto stranger = Trust::Preamble::Make(*Trust::Tests::Devices().Enrol("stranger").linkKeys).value();
    const auto member = Trust::Preamble::Make(*identity.linkKeys).value();
    const std::string recorded = member->Prove(peer->ReadChallenge(), message) + message;
    std::string oversized = message;
    oversized[3] = '\x7F';
    std::string padded = message + "x";
    padded[4] = static_cast<char>(padded[4] + 1);
    const struct {
        const char* fault;
        std::function<std::string(const std::string& challenge)> answer;
    } table[] = {
        {"the key of another account", [&](auto& challenge) { return stranger->Prove(challenge, message) + message; }},
        {"a proof that was recorded", [&](auto&) { return recorded; }},
        {"another key share", [&](auto& challenge) { return member->Prove(challenge, message) + other; }},
        {"a first message that is too long",
         [&](auto& challenge) { return member->Prove(challenge, oversized) + oversized; }},
        {"more than a ClientHello", [&](auto& challenge) { return member->Prove(challenge, padded) + padded; }},
        {"version 1 of the link", [&](auto&) { return message; }},
        {"a message that is cut",
         [&](auto& challenge) { return member->Prove(challenge, message) + message.substr(0, 100); }},
        {"nothing", [](auto&) { return std::string(); }},
    };
    for (const auto& row : table) {
        const auto began = std::chrono::steady_clock::now();
        peer = Connect();
        const std::string challenge = peer->ReadChallenge();
        ASSERT_EQ(challenge.size(), Trust::CHALLENGE_BYTES) << row.fault;
        EXPECT_TRUE(peer->WriteRaw(row.answer(challenge))) << row.fault;
        EXPECT_EQ(peer->ReadChallenge(), "") << row.fault;
        EXPECT_LT(std::chrono::steady_clock::now() - began, AdmissionLimits().time + 2s) << row.fault;
    }
    EXPECT_TRUE(atPhone.All().empty());
}

TEST_F(HostilePeerTest, ProofInSingleBytesIsAccepted)
{
    const std::string message = peer->FirstMessage();
    const auto preamble = Trust::Preamble::Make(*identity.linkKeys).value();
    for (const char byte : preamble->Prove(peer->ReadChallenge(), message) + message) {
        ASSERT_TRUE(peer->WriteRaw({&byte, 1}));
    }
    EXPECT_FALSE(peer->ReadChallenge().empty()) << "the server's first message";
}

TEST_F(HostilePeerTest, CrashOrMisplacedFrameClosesSessionAfterDeliveringBytes)
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

TEST_F(HostilePeerTest, PeerThatFloodsMessagesIsPacedAndLosesNothing)
{
    const int id = Open(*peer);
    constexpr int MORE = 20;
    const auto began = std::chrono::steady_clock::now();
    std::string frames;
    for (int i = 0; i < MESSAGE_BURST + MORE; ++i) {
        frames += Framed(FrameKind::DATA, "xyz");
    }
    ASSERT_TRUE(peer->Write(frames));
    EXPECT_TRUE(Eventually([&] { return atPhone.Count(Kind::BYTES, id) == MESSAGE_BURST + MORE; }));
    EXPECT_GE(std::chrono::steady_clock::now() - began, MORE / 2 * MESSAGE_INTERVAL);
}

TEST_F(HostilePeerTest, SilentPeerIsDroppedAndIdlePeerKept)
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
    // The peer opens three sessions, the most that one peer may open. The third one stays pending, because its session
    // server does not exist.
    std::vector<std::unique_ptr<Bare>> opens;
    const auto answer = [&](const char* server, bool waits) {
        opens.push_back(std::make_unique<Bare>(small->ListenAddress(), identity));
        EXPECT_TRUE(opens.back()->Handshake() && opens.back()->Greet());
        EXPECT_TRUE(opens.back()->WriteFrame(FrameKind::OPEN, EncodeOpen({TYPE_BYTES, server, "bare"})));
        Frame frame;
        return !waits && opens.back()->ReadFrame(frame) ? DecodeOpened(frame.payload).value() : 1;
    };
    EXPECT_EQ(answer(NAME, false), SOFTBUS_OK);
    EXPECT_EQ(answer(NAME, false), SOFTBUS_OK);
    answer("test.never", true);
    ASSERT_TRUE(Eventually([&] { return small->Counts().pendingOpens == 1; }));
    EXPECT_EQ(answer(NAME, false), SOFTBUS_PEER_SHARE);
    EXPECT_EQ(log.Count("is refused: that device has its maximum of sessions open"), 1u);

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

TEST_F(HostilePeerTest, OldestSilentConnectionMakesRoomForNewOne)
{
    const auto began = std::chrono::steady_clock::now();
    std::vector<std::unique_ptr<Bare>> mute(AdmissionLimits().ofSource + 10);
    std::generate(mute.begin(), mute.end(), [this] { return Connect(); });
    EXPECT_TRUE(mute.front()->WaitForEnd());
    EXPECT_LT(std::chrono::steady_clock::now() - began, AdmissionLimits().time) << "the oldest made room";
    peer = Connect();
    Open(*peer);
    EXPECT_TRUE(mute.back()->WaitForEnd()) << "its time is over";
}

TEST_F(HostilePeerTest, BytesBeforeCrashAreDeliveredAfterPause)
{
    std::promise<void> resume;
    const auto resumed = resume.get_future().share();
    const int id = Open(*peer);
    atPhone.OnEvent(Kind::BYTES, [resumed](const Event&) { resumed.wait(); });
    const std::string message(MAX_SESSION_BYTES, 'm');
    const size_t messages = MAX_UNDELIVERED_BYTES / message.size() + 1;
    for (size_t i = 0; i < messages - 1; ++i) {
        ASSERT_TRUE(peer->WriteFrame(FrameKind::DATA, message));
    }
    ASSERT_TRUE(peer->WriteFrame(FrameKind::DATA, "last words"));
    ASSERT_TRUE(Eventually([&] { return peer->AllArrived(); }));
    peer->Crash();
    EXPECT_TRUE(Eventually([&] { return phone->SendBytes(id, "x", 1) != SOFTBUS_OK; })) << "it meets a closed socket";
    resume.set_value();
    atPhone.WaitFor(Kind::CLOSED, id);
    EXPECT_EQ(atPhone.Count(Kind::BYTES, id), messages);
}

}  // namespace
}  // namespace Vexo::SoftBus::Tests
