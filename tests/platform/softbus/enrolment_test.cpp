// Tests enrolment by ticket. The holder (the device that admits others) is a soft bus. The joiner (the device that
// enrols) is a JoinAttempt. Some tests act as the holder or the joiner themselves and build the messages by hand.
#include <atomic>

#include "platform/softbus/transport/tcp_transport.h"
#include "platform/trust/ticket_join.h"
#include "tests/platform/softbus/enrolment_fixture.h"

namespace Vexo::SoftBus::Tests {
namespace {

// --- successful enrolment ---

TEST_F(EnrolmentTest, DeviceJoinsByTicketAddressAndIsUsableAtOnce)
{
    Invite();
    ASSERT_EQ(Ticket().address, bus->ListenAddress());
    EXPECT_EQ(bus->Invite({}).error().code, ErrorCode::ALREADY_EXISTS);
    const auto attempt = Join("phone");
    const InvitationStatus asking = WaitFor(InvitationPhase::ASKING);
    const JoinStatus asked = WaitFor(attempt, JoinPhase::CONFIRMING);
    EXPECT_EQ(asking.joiner.number, asked.number);
    EXPECT_EQ(asked.number.size(), 6U);
    EXPECT_EQ(asking.joiner.name, "phone");
    EXPECT_EQ(asking.joiner.type, PHONE_TYPE);
    EXPECT_EQ(asking.joiner.networkId, devices.Load("phone").networkId);
    EXPECT_EQ(asked.holderName, "laptop");
    EXPECT_EQ(asked.account, "home");
    EXPECT_EQ(asked.over, "tcp");
    EXPECT_FALSE(invitation->Answer(std::string(64, 'a'), true));
    Confirm();
    EXPECT_FALSE(invitation->Answer(asking.joiner.networkId, false)) << "the person has said yes";
    WaitFor(attempt, JoinPhase::DONE);
    WaitFor(InvitationPhase::ADMITTED);
    const auto phone = StartBus(devices.Load("phone"), "phone", {bus->ListenAddress()});
    EXPECT_TRUE(Meet(bus, phone));
    phone->Stop();
}

TEST_F(EnrolmentTest, JoinerFindsHolderByAnnouncementDespiteBadAddresses)
{
    const auto folder = devices.Folder("air");
    SoftBusOptions announces;
    announces.announceFolder = folder;
    InvitationOptions confirms;
    confirms.confirmsItself = true;
    Invite(announces, confirms);
    EXPECT_EQ(Ticket().address, "");
    const BareListener stranger;  // It never answers a connection.
    BareListener dead;
    JoinOptions options = OptionsOf("phone");
    options.announceFolder = folder;
    options.peerAddresses = {stranger.Address(), dead.Address()};
    dead = BareListener();
    WaitFor(Join(options), JoinPhase::DONE);
    const auto files = [&] {
        const std::filesystem::directory_iterator all(folder);
        return std::count_if(begin(all), end(all), [](const auto& file) { return file.path().extension() == ".json"; });
    };
    EXPECT_EQ(files(), 2) << "the device, and its ticket; the joiner announces nothing";
    bus->Stop();
    EXPECT_EQ(files(), 0);
}

// A radio transport and its channel. The radio works only after a JoinAttempt has started, from the second seek on.
class LateRadio {
public:
    class Wire : public TcpTransport {
    public:
        using TcpTransport::TcpTransport;
        std::string Name() const override { return "radio"; }
        bool HasStableAddresses() const override { return false; }
        Result<std::string> Listen(Accepted) override { return std::string(); }
    };
    class Channel : public AnnouncementChannel {
    public:
        explicit Channel(LateRadio& radio) : radio_(radio) {}
        std::string Name() const override { return "radio"; }
        std::string TransportName() const override { return "radio"; }
        Result<void> Start(const std::string& own, IsOurs, Heard heard) override
        {
            EXPECT_EQ(own, "");
            heard_ = std::move(heard);
            return {};
        }
        void Announce(const std::string&) override {}
        std::shared_ptr<void> Seek() override
        {
            if (++radio_.seeks < 2) {
                return nullptr;  // The radio does not work yet.
            }
            heard_("holder", Announcement{radio_.token, {{"radio", radio_.address}}});
            return std::make_shared<int>();
        }
        void Withdraw() override {}

    private:
        LateRadio& radio_;
        Heard heard_;
    };

    std::string token;
    std::string address;
    std::atomic<int> seeks{0};
};

TEST_F(EnrolmentTest, JoinerFindsHolderByRadioThatComesUpLater)
{
    InvitationOptions confirms;
    confirms.confirmsItself = true;
    Invite({}, confirms);
    LateRadio radio;
    radio.address = bus->ListenAddress();
    JoinOptions options = OptionsOf("phone");
    options.ticket.address.clear();
    radio.token = Trust::AnnouncementTokens::Make(Trust::TicketKeys(options.ticket), "radio")
                      .value()
                      ->MakeToken(laptop.networkId);
    options.moreTransports = {
        [](asio::io_context& reactor) { return std::make_shared<LateRadio::Wire>(reactor, "127.0.0.1:0"); }};
    options.channels = {[&](const std::string&) { return std::make_unique<LateRadio::Channel>(radio); }};
    EXPECT_EQ(WaitFor(Join(options), JoinPhase::DONE).over, "radio");
}

// --- attackers, and more than one joiner ---

TEST_F(EnrolmentTest, ManInTheMiddleWithTicketCausesDifferentNumbers)
{
    Invite();
    const BareListener middle;
    JoinOptions options = OptionsOf("phone");
    options.ticket.address = middle.Address();
    const auto attempt = Join(options);
    Bare towardsJoiner(middle.Accept(), Ticket());
    Bare towardsHolder(bus->ListenAddress(), Ticket());
    ASSERT_TRUE(towardsHolder.Handshake());
    const auto pass = [](Bare& from, Bare& to, FrameKind kind) {
        const Frame frame = NextFrame(from);
        EXPECT_EQ(frame.kind, kind);
        EXPECT_TRUE(to.WriteFrame(frame.kind, frame.payload));
        return frame.payload;
    };
    pass(towardsJoiner, towardsHolder, FrameKind::JOIN_COMMIT);
    const std::string nonce = pass(towardsHolder, towardsJoiner, FrameKind::JOIN_NONCE);
    const std::string request = pass(towardsJoiner, towardsHolder, FrameKind::JOIN_REQUEST);
    const std::string number = WaitFor(InvitationPhase::ASKING).joiner.number;
    EXPECT_NE(WaitFor(attempt, JoinPhase::CONFIRMING).number, number);
    EXPECT_EQ(Trust::JoinNumber(towardsHolder.ExportSecret(NUMBER_LABEL), nonce.substr(0, 32), request), number);
    EXPECT_NE(Trust::JoinNumber(towardsHolder.ExportSecret(NUMBER_LABEL), nonce.substr(0, 32), request + "x"), number);
    Confirm(false);
    pass(towardsHolder, towardsJoiner, FrameKind::JOIN_ANSWER);
    EXPECT_EQ(WaitFor(attempt, JoinPhase::FAILED).failure, JoinFailure::DENIED);
    EXPECT_EQ(WaitFor(InvitationPhase::ENDED).why, "its request was turned down");
    EXPECT_EQ(Ask(RequestOf("phone")).result, JoinFailure::EXPIRED) << "a joiner that was turned down ends the ticket";
}

TEST_F(EnrolmentTest, PeerWithoutTicketProofGets16RandomBytes)
{
    Invite();
    const Trust::Ticket ticket = Ticket();
    Trust::Ticket guess = ticket;
    guess.secret[3] = static_cast<char>(guess.secret[3] ^ 1);
    const std::string message = Bare(bus->ListenAddress(), ticket).FirstMessage();
    const auto prove = [&](const Trust::Ticket& with, const std::string& challenge) {
        return Trust::Preamble::Make(Trust::TicketKeys(with)).value()->Prove(challenge, message) + message;
    };
    Bare recorded(bus->ListenAddress(), ticket);
    const std::string recording = prove(ticket, recorded.ReadChallenge());
    const struct {
        const char* who;
        std::function<std::string(const std::string& challenge)> answer;
    } rows[] = {{"a guess", [&](const auto& challenge) { return prove(guess, challenge); }},
                {"a recording", [&](const auto&) { return recording; }},
                {"a stranger", [](const auto&) { return std::string(100, 'x'); }}};
    for (const auto& row : rows) {
        Bare peer(bus->ListenAddress(), ticket);
        const std::string challenge = peer.ReadChallenge();
        EXPECT_EQ(challenge.size(), Trust::CHALLENGE_BYTES) << row.who;
        EXPECT_TRUE(peer.WriteRaw(row.answer(challenge)));
        EXPECT_EQ(peer.ReadChallenge(), "") << row.who;
    }
    // The peer proves that it has the ticket, but its first TLS message was made with another secret. The holder
    // answers with a TLS alert.
    Bare mixed(bus->ListenAddress(), guess);
    const std::string other = mixed.FirstMessage();
    EXPECT_TRUE(mixed.WriteRaw(
        Trust::Preamble::Make(Trust::TicketKeys(ticket)).value()->Prove(mixed.ReadChallenge(), other) + other));
    EXPECT_EQ(mixed.ReadChallenge().size(), 7U) << "one record of two bytes";
    EXPECT_EQ(invitation->Status().phase, InvitationPhase::WAITING);
}

TEST_F(EnrolmentTest, SecondJoinerIsRefusedWhileFirstMayAskAgain)
{
    Invite();
    const std::string request = RequestOf("phone");
    const auto first = Join("phone");
    WaitFor(first, JoinPhase::CONFIRMING);
    const auto second = Join("tablet");
    EXPECT_EQ(WaitFor(second, JoinPhase::FAILED).failure, JoinFailure::BUSY);
    EXPECT_EQ(WaitFor(InvitationPhase::ASKING).joiner.name, "phone");
    Confirm();
    WaitFor(first, JoinPhase::DONE);
    const auto third = Join("tablet");
    EXPECT_EQ(WaitFor(third, JoinPhase::FAILED).failure, JoinFailure::USED);
    const JoinAnswer answer = Ask(request);
    EXPECT_EQ(answer.result, JoinFailure::NONE);
    EXPECT_EQ(answer.text.find("-----BEGIN CMS"), 0U);
}

// --- interrupted enrolments ---

// The steps of an enrolment. A test cuts the connection after one of these steps.
enum class Step { CONNECTED, SECURED, COMMITTED, NONCE_KNOWN, ASKED, CONFIRMED };

TEST_F(EnrolmentTest, SameTicketAdmitsJoinerAfterItWasCutOff)
{
    for (const Step step :
         {Step::CONNECTED, Step::SECURED, Step::COMMITTED, Step::NONCE_KNOWN, Step::ASKED, Step::CONFIRMED}) {
        SCOPED_TRACE(static_cast<int>(step));
        const std::string name = "phone" + std::to_string(static_cast<int>(step));
        const std::string request = RequestOf(name);
        Gate gate;
        std::atomic<int> admissions{0};
        InvitationOptions options;
        options.admit = [&, block = gate.Blocker()](const std::string& pem, const Joiner&) {
            ++admissions;
            block();
            return Trust::Admit(devices.Folder("laptop"), pem);
        };
        Invite({}, options);
        {
            Bare joiner(bus->ListenAddress(), Ticket());
            EXPECT_TRUE(step < Step::SECURED || joiner.Handshake());
            EXPECT_TRUE(step < Step::COMMITTED ||
                        joiner.WriteFrame(FrameKind::JOIN_COMMIT, Trust::JoinCommitment(request)));
            EXPECT_TRUE(step < Step::NONCE_KNOWN || NextFrame(joiner).kind == FrameKind::JOIN_NONCE);
            EXPECT_TRUE(step < Step::ASKED || joiner.WriteFrame(FrameKind::JOIN_REQUEST, request));
            if (step >= Step::ASKED) {
                WaitFor(InvitationPhase::ASKING);
            }
            if (step == Step::CONFIRMED) {
                Confirm();
                EXPECT_TRUE(Eventually([&] { return admissions == 1; }));
            }
        }
        if (step == Step::ASKED) {
            EXPECT_NE(WaitFor(InvitationPhase::WAITING).why.find(name + " went away before"), std::string::npos);
        }
        const auto attempt = Join(name);
        if (step != Step::CONFIRMED) {
            Confirm();
        }
        WaitFor(attempt, JoinPhase::CONFIRMING);
        gate.Open();
        WaitFor(attempt, JoinPhase::DONE);
        EXPECT_EQ(WaitFor(InvitationPhase::ADMITTED).joiner.name, name);
        attempts.clear();
        std::filesystem::remove_all(devices.Folder(name));
    }
}

TEST_F(EnrolmentTest, JoinerSearchesOrReportsLossAfterHolderIsCutOff)
{
    for (const Step step : {Step::CONNECTED, Step::SECURED, Step::COMMITTED, Step::NONCE_KNOWN, Step::ASKED}) {
        SCOPED_TRACE(static_cast<int>(step));
        const std::string name = "phone" + std::to_string(static_cast<int>(step));
        InvitationOptions confirms;
        confirms.confirmsItself = true;
        Invite({}, confirms);
        const BareListener cut;
        JoinOptions options = OptionsOf(name);
        options.ticket.address = cut.Address();
        const auto attempt = Join(options);
        UniqueFd accepted = cut.Accept();
        if (step >= Step::SECURED) {
            Bare holder(std::move(accepted), Ticket());
            EXPECT_TRUE(step < Step::COMMITTED || NextFrame(holder).kind == FrameKind::JOIN_COMMIT);
            EXPECT_TRUE(
                step < Step::NONCE_KNOWN ||
                holder.WriteFrame(FrameKind::JOIN_NONCE, EncodeJoinNonce({std::string(32, 'n'), "laptop", "home"})));
            EXPECT_TRUE(step < Step::ASKED || NextFrame(holder).kind == FrameKind::JOIN_REQUEST);
            WaitFor(attempt, step < Step::NONCE_KNOWN ? JoinPhase::SEARCHING : JoinPhase::CONFIRMING);
        }
        accepted.Reset();
        if (step < Step::NONCE_KNOWN) {
            Bare holder(cut.Accept(), Ticket());  // The joiner connects again.
            EXPECT_EQ(NextFrame(holder).kind, FrameKind::JOIN_COMMIT);
            attempt->Cancel();
            EXPECT_EQ(attempt->Status().failure, JoinFailure::CANCELLED);
        } else {
            EXPECT_EQ(WaitFor(attempt, JoinPhase::FAILED).failure, JoinFailure::LOST);
        }
        WaitFor(Join(name), JoinPhase::DONE);
        attempts.clear();
        std::filesystem::remove_all(devices.Folder(name));
    }
}

// --- the holder's answers ---

TEST_F(EnrolmentTest, FailedAdmissionIsReportedAndKeepsTicketOpen)
{
    const struct {
        ErrorCode code;
        JoinFailure failure;
        const char* suggestion;
    } rows[] = {{ErrorCode::ALREADY_EXISTS, JoinFailure::NAME_TAKEN, "phone-2"},
                {ErrorCode::REFUSED, JoinFailure::REMOVED_KEY, ""},
                {ErrorCode::SYSTEM, JoinFailure::REFUSED, ""}};
    size_t next = 0;
    InvitationOptions options;
    options.admit = [&](const std::string&, const Joiner&) -> Result<std::string> {
        return Fail(rows[next].code, "that is why");
    };
    options.suggestName = [](const std::string& taken) { return taken + "-2"; };
    Invite({}, options);
    for (; next < std::size(rows); ++next) {
        const auto attempt = Join("phone");
        Confirm();
        const JoinStatus status = WaitFor(attempt, JoinPhase::FAILED);
        EXPECT_EQ(status.failure, rows[next].failure);
        EXPECT_EQ(status.suggestion, rows[next].suggestion);
        EXPECT_EQ(WaitFor(InvitationPhase::WAITING).why, "that is why");
    }
    JoinOptions local = OptionsOf("phone");
    local.install = [](const std::string&) -> Result<void> { return Fail(ErrorCode::SYSTEM, "the disk is full"); };
    invitation.reset();
    InvitationOptions confirms;
    confirms.confirmsItself = true;
    Invite({}, confirms);
    local.ticket = Ticket();
    EXPECT_EQ(WaitFor(Join(local), JoinPhase::FAILED).why, "the disk is full");
}

TEST_F(EnrolmentTest, ExpiredTicketIsAnsweredForOneHourThenForgotten)
{
    SoftBusOptions timed;
    timed.ticketTimers = &timers;
    Invite(timed);
    const auto now = [&] { return RequestOf("phone", timers.WallNow()); };
    EXPECT_EQ(invitation->Status().expires, timers.WallNow() + 10min);
    EXPECT_EQ(Ask(RequestOf("phone", timers.WallNow() - 25h)).result, JoinFailure::WRONG_CLOCK);
    EXPECT_EQ(WaitFor(InvitationPhase::WAITING).why, "phone: the two devices' clocks differ by 25 hours");
    std::string request = now();
    Bare asking(bus->ListenAddress(), Ticket());
    ASSERT_TRUE(asking.Handshake() && asking.WriteFrame(FrameKind::JOIN_COMMIT, Trust::JoinCommitment(request)));
    EXPECT_EQ(NextFrame(asking).kind, FrameKind::JOIN_NONCE);
    ASSERT_TRUE(asking.WriteFrame(FrameKind::JOIN_REQUEST, request));
    WaitFor(InvitationPhase::ASKING);
    timers.Advance(10min);
    EXPECT_EQ(DecodeJoinAnswer(NextFrame(asking).payload).value().result, JoinFailure::EXPIRED);
    EXPECT_EQ(WaitFor(InvitationPhase::ENDED).why, "the ticket has expired");
    EXPECT_EQ(Ask(now()).result, JoinFailure::EXPIRED);
    const Trust::Ticket expired = Ticket();

    InvitationOptions confirms;
    confirms.confirmsItself = true;
    Invite({}, confirms);
    EXPECT_EQ(Ask(now()).result, JoinFailure::NONE);
    timers.Advance(9min);
    EXPECT_EQ(Ask(now()).result, JoinFailure::NONE) << "the same key, as long as the ticket holds";
    timers.Advance(1min);
    EXPECT_EQ(Ask(now()).result, JoinFailure::USED);
    EXPECT_EQ(invitation->Status().phase, InvitationPhase::ADMITTED);
    timers.Advance(49min);
    EXPECT_EQ(Ask(now()).result, JoinFailure::USED);
    for (const Trust::Ticket& ticket : {expired, Ticket()}) {
        timers.Advance(1min);
        EXPECT_TRUE(Eventually([&] { return !Bare(bus->ListenAddress(), ticket).Handshake(); }));
    }

    Invite();
    invitation->Close();
    EXPECT_EQ(WaitFor(InvitationPhase::ENDED).why, "the ticket was withdrawn");
    EXPECT_EQ(Ask(now()).result, JoinFailure::EXPIRED);
}

TEST_F(EnrolmentTest, TicketEndsAfterTwentyCommitments)
{
    Invite();
    const std::string request = RequestOf("phone");
    for (int i = 0; i < MAX_JOIN_TRIES; ++i) {
        Bare joiner(bus->ListenAddress(), Ticket());
        ASSERT_TRUE(joiner.Handshake() && joiner.WriteFrame(FrameKind::JOIN_COMMIT, Trust::JoinCommitment(request)));
        ASSERT_EQ(NextFrame(joiner).kind, FrameKind::JOIN_NONCE) << i;
    }
    EXPECT_EQ(Ask(request).result, JoinFailure::EXPIRED);
    EXPECT_EQ(WaitFor(InvitationPhase::ENDED).why, "the ticket was tried too often");
}

TEST_F(EnrolmentTest, JoinerThatBreaksProtocolIsDisconnected)
{
    Invite();
    const std::string request = RequestOf("phone");
    std::string forged = request;
    forged.back() = static_cast<char>(forged.back() ^ 1);
    const std::string none = request.substr(0, 42) + "no request";
    const struct {
        const char* fault;
        std::string commitment;
        std::string request;
        FrameKind kind = FrameKind::JOIN_REQUEST;
    } rows[] = {
        {"another request than announced", Trust::JoinCommitment("x"), request},
        {"a forged signature", Trust::JoinCommitment(forged), forged},
        {"no PKCS#10", Trust::JoinCommitment(none), none},
        {"a second commitment", Trust::JoinCommitment(request), Trust::JoinCommitment(request), FrameKind::JOIN_COMMIT},
        {"a member's frame", Trust::JoinCommitment(request), "x", FrameKind::OPEN}};
    for (const auto& row : rows) {
        Bare joiner(bus->ListenAddress(), Ticket());
        ASSERT_TRUE(joiner.Handshake() && joiner.WriteFrame(FrameKind::JOIN_COMMIT, row.commitment));
        ASSERT_EQ(NextFrame(joiner).kind, FrameKind::JOIN_NONCE);
        ASSERT_TRUE(joiner.WriteFrame(row.kind, row.request));
        EXPECT_TRUE(joiner.WaitForEnd()) << row.fault;
        EXPECT_EQ(invitation->Status().phase, InvitationPhase::WAITING) << row.fault;
    }
}

}  // namespace
}  // namespace Vexo::SoftBus::Tests
