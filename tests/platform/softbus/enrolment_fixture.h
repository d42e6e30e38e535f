// EnrolmentTest: a fixture with the soft bus of a holder (the device that admits others) and with joiners (devices that
// enrol with a ticket). A joiner is a JoinAttempt or, if the test builds its messages by hand, a Bare.
#pragma once

#include <atomic>
#include <fstream>

#include "platform/softbus/discovery/known_devices.h"
#include "platform/softbus/enrolment/join_attempt.h"
#include "platform/softbus/enrolment/join_frames.h"
#include "platform/softbus/enrolment/ticket_holder.h"
#include "platform/trust/ticket_join.h"
#include "tests/platform/softbus/device_fixture.h"
#include "tests/support/manual_timers.h"

namespace Vexo::SoftBus::Tests {

using namespace std::chrono_literals;
using Vexo::Tests::Gate;

inline constexpr uint16_t PHONE_TYPE = 0x0E;
inline constexpr const char* NUMBER_LABEL = "EXPORTER-distnet join";

// Returns the next frame that is not a PING. If the connection ends before such a frame arrives, returns a PING.
Frame NextFrame(Bare& peer)
{
    Frame frame;
    while (peer.ReadFrame(frame)) {
        if (frame.kind != FrameKind::PING) {
            return frame;
        }
    }
    return {};
}

class EnrolmentTest : public testing::Test {
protected:
    void TearDown() override
    {
        attempts.clear();
        invitation.reset();
        if (bus) {
            bus->Stop();
        }
    }

    // Starts the soft bus of the laptop if it does not run yet. Then opens an invitation on that soft bus, which waits
    // for devices that enrol.
    void Invite(SoftBusOptions busOptions = {}, InvitationOptions options = {})
    {
        if (!bus) {
            bus = StartBus(laptop, "laptop", {}, std::move(busOptions));
        }
        if (!options.admit) {
            options.admit = [this](const std::string& pem, const Joiner&) {
                return Trust::Admit(devices.Folder("laptop"), pem);
            };
        }
        auto invited = bus->Invite(std::move(options));
        ASSERT_TRUE(invited) << invited.error().message;
        invitation = invited.value();
    }
    Trust::Ticket Ticket() const { return Trust::ParseTicket(invitation->Status().ticket).value(); }

    JoinOptions OptionsOf(const std::string& device)
    {
        const auto folder = devices.Folder(device);
        JoinOptions options;
        options.ticket = Ticket();
        options.deviceName = device;
        options.deviceTypeId = PHONE_TYPE;
        options.requestPem = Trust::MakeRequest(folder, device).value();
        options.networkId = devices.Load(device).networkId;
        options.install = [folder](const std::string& answer) { return Trust::Install(folder, answer); };
        options.listenAddress = "127.0.0.1:0";
        return options;
    }
    std::shared_ptr<JoinAttempt> Join(JoinOptions options)
    {
        auto attempt = JoinAttempt::Start(std::move(options));
        EXPECT_TRUE(attempt) << attempt.error().message;
        attempts.push_back(attempt.value());
        return attempt.value();
    }
    std::shared_ptr<JoinAttempt> Join(const std::string& device) { return Join(OptionsOf(device)); }

    InvitationStatus WaitFor(InvitationPhase phase) const
    {
        EXPECT_TRUE(Eventually([&] { return invitation->Status().phase == phase; })) << invitation->Status().why;
        return invitation->Status();
    }
    static JoinStatus WaitFor(const std::shared_ptr<JoinAttempt>& attempt, JoinPhase phase)
    {
        EXPECT_TRUE(Eventually([&] { return attempt->Status().phase == phase; })) << attempt->Status().why;
        return attempt->Status();
    }
    void Confirm(bool admit = true)
    {
        const auto answered = invitation->Answer(WaitFor(InvitationPhase::ASKING).joiner.networkId, admit);
        EXPECT_TRUE(answered) << answered.error().message;
    }

    // Returns a join request, for a test that sends it by hand. device: the name of the device that wants to join.
    // clock: the time in the request.
    std::string RequestOf(const std::string& device, WallTime clock = Clock::System().WallNow())
    {
        const std::string pem = Trust::MakeRequest(devices.Folder(device), device).value();
        return EncodeJoinRequest({std::string(Trust::JOIN_NONCE_BYTES, 'j'), PHONE_TYPE, MillisecondsOf(clock),
                                  Trust::RequestToDer(pem).value()});
    }
    // Sends the commitment of a join request, then the request. Returns the holder's answer to the request. If the
    // holder refuses the commitment, returns that refusal and does not send the request.
    static JoinAnswer AnswerTo(Bare& joiner, const std::string& request)
    {
        EXPECT_TRUE(joiner.WriteFrame(FrameKind::JOIN_COMMIT, Trust::JoinCommitment(request)));
        Frame frame = NextFrame(joiner);
        if (frame.kind == FrameKind::JOIN_NONCE) {
            EXPECT_TRUE(joiner.WriteFrame(FrameKind::JOIN_REQUEST, request));
            frame = NextFrame(joiner);
        }
        EXPECT_EQ(frame.kind, FrameKind::JOIN_ANSWER);
        return DecodeJoinAnswer(frame.payload).value();
    }
    JoinAnswer Ask(const std::string& request)
    {
        Bare joiner(bus->ListenAddress(), Ticket());
        EXPECT_TRUE(joiner.Handshake());
        return AnswerTo(joiner, request);
    }

    Trust::Tests::Devices devices;
    const Trust::Identity laptop = devices.Enrol("laptop");
    Vexo::Tests::ManualTimers timers;  // Some tests pass these timers to the holder.
    sptr<SoftBusServer> bus;
    std::shared_ptr<Invitation> invitation;
    std::vector<std::shared_ptr<JoinAttempt>> attempts;
};

}  // namespace Vexo::SoftBus::Tests
