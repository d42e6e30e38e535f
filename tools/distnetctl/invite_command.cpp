// The command `account invite`: shows a ticket, and asks the user whether to admit the device that uses the ticket.
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>

#include "interfaces/account_answers_json.h"
#include "platform/base/clock.h"
#include "tools/distnetctl/account_view.h"
#include "tools/distnetctl/commands.h"
#include "tools/distnetctl/interrupt.h"
#include "tools/distnetctl/printable.h"
#include "tools/distnetctl/qr_picture.h"
#include "tools/distnetctl/questions.h"
#include "tools/distnetctl/screen.h"

namespace Vexo::Ctl {

namespace {

// While the command waits for the user's answer, it checks at this interval whether the device still asks to join.
constexpr std::chrono::milliseconds POLL_INTERVAL{300};

class Invite {
public:
    Invite(Output& output, Client::DistNetClient& client, bool yes)
        : output_(output), client_(client), yes_(yes), answers_(STDIN_FILENO)
    {
    }

    Outcome Run()
    {
        if (const Client::CallResult call = client_.OpenInvitation(yes_, now_); !call.Succeeded()) {
            return FromAccountCall(call);
        }
        if (now_.fault) {
            return FromFault(*now_.fault);
        }
        ShowTicket();
        while (true) {
            output_.Object("account-invite-state", Host::ToJson(now_).get());
            if (std::optional<Outcome> outcome = PrintChange()) {
                return *std::move(outcome);
            }
            const uint32_t seen = now_.revision;
            do {
                if (std::optional<Outcome> failure = Wait(Host::HOST_MAX_WAIT)) {
                    return *std::move(failure);
                }
            } while (now_.revision == seen);
        }
    }

private:
    // Waits until the invitation changes. limit: the longest time to wait. If the call to the daemon fails, returns the
    // outcome with which the command must end. Otherwise returns no value.
    std::optional<Outcome> Wait(std::chrono::milliseconds limit)
    {
        const Client::CallResult call = client_.WaitForInvitation(now_.revision, limit, now_);
        return call.Succeeded() ? std::nullopt : std::optional(FromAccountCall(call));
    }

    // Prints what has changed in the invitation. Without --yes, also asks the user about a device that asks to join. If
    // the invitation has ended or a call to the daemon has failed, returns the outcome of the command. Otherwise
    // returns no value.
    std::optional<Outcome> PrintChange()
    {
        const Host::InvitationAnswer shown = Printable(now_);
        const std::string who = WhoText(shown.joiner.name, shown.joiner.type, shown.joiner.networkId);
        switch (now_.phase) {
            case Host::InvitationPhase::WAITING:
                if (!shown.note.empty() && shown.note != lastNote_) {
                    output_.Line(shown.note);
                    lastNote_ = shown.note;
                }
                output_.Status("… waiting");
                return std::nullopt;
            case Host::InvitationPhase::ASKING:
                output_.Line(who + " asks to join.");
                return yes_ ? std::nullopt : AskPerson();
            case Host::InvitationPhase::ADMITTED:
                return Done(output_.Tick() + " " + shown.joiner.name + " is a member of \"" + shown.account + "\".",
                            JoinerDetails());
            case Host::InvitationPhase::ENDED:
                break;
        }
        return FromFault(now_.fault.value_or(Host::AccountFault{}));
    }

    Json JoinerDetails() const
    {
        Json details = NewObject();
        AddMember(details.get(), "joiner", Host::ToJson(now_.joiner));
        return details;
    }

    void ShowTicket()
    {
        const auto left = std::chrono::ceil<std::chrono::minutes>(now_.expires - Clock::System().WallNow()).count();
        output_.Line("A ticket for \"" + Printable(now_).account + "\". It is valid for " + std::to_string(left) +
                     (left == 1 ? " minute" : " minutes") + " and admits one device.\n\n    " + now_.ticket + "\n");
        if (output_.IsTerminal()) {
            constexpr size_t INDENT = 4;
            const size_t columns = Screen::Size().columns;
            const auto picture = QrPicture(now_.ticket, {output_.GetTerminal().hasUtf8, output_.UsesColour()},
                                           columns - std::min(columns, INDENT));
            for (const std::string& line : picture) {
                output_.Line(std::string(INDENT, ' ') + line);
            }
            output_.Line(picture.empty() ? "(The terminal is too narrow for the ticket as a picture.)" : "");
        }
        output_.Line("On the new device: distnetctl account join");
    }

    // Asks the user whether to admit the device, and sends the answer to the daemon. Stops if the device no longer asks
    // to join.
    std::optional<Outcome> AskPerson()
    {
        const std::string asking = now_.joiner.networkId;
        output_.Prompt("Both devices show " + NumberText(now_.joiner.number) + ". Admit it? [y/N] ");
        std::string answer;
        LineReader::Read read = LineReader::Read::NOTHING_YET;
        while (read == LineReader::Read::NOTHING_YET) {
            read = answers_.Next(answer, POLL_INTERVAL);
            if (std::optional<Outcome> failure = Wait(std::chrono::milliseconds(0))) {
                return failure;
            }
            if (now_.phase != Host::InvitationPhase::ASKING || now_.joiner.networkId != asking) {
                output_.Line("");
                return PrintChange();
            }
        }
        EndPrompt(output_, read);
        Host::ChangeAnswer answered;
        const Client::CallResult call = client_.AnswerJoiner(asking, MeansYes(answer), answered);
        if (!call.Succeeded()) {
            return FromAccountCall(call);
        }
        if (answered.fault) {
            output_.Line(EscapeHidden(answered.fault->message));
        }
        return std::nullopt;
    }

    Output& output_;
    Client::DistNetClient& client_;
    const bool yes_;
    LineReader answers_;
    std::string lastNote_;
    Host::InvitationAnswer now_;
};

}  // namespace

void CancelOnInterrupt(const GlobalOptions& options, Output& output, AccountCancel cancel, const std::string& said)
{
    EndOnInterrupt([&options, &output, cancel, said] {
        Outcome failure;
        Host::ChangeAnswer answer;
        // Uses a second connection to the daemon, because the first connection waits for an answer.
        if (const auto client = ConnectClient(options, failure)) {
            (void)(client.get()->*cancel)(answer);
        }
        (void)output.Finish({EXIT_INTERRUPTED, CODE_INTERRUPTED, "INTERRUPTED", said, "", nullptr});
        (void)output.Flush();
    });
}

int RunAccountInvite(const GlobalOptions& options, Output& output, bool yes)
{
    CancelOnInterrupt(options, output, &Client::DistNetClient::CloseInvitation,
                      "cancelled: nobody can join with this ticket any more");
    Outcome failure;
    const auto client = ConnectClient(options, failure);
    Outcome outcome = client ? Invite(output, *client, yes).Run() : std::move(failure);
    WaitIfInterrupted();
    return output.Finish(std::move(outcome));
}

}  // namespace Vexo::Ctl
