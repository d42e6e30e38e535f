// The command `account join`: asks the user for a ticket, and joins the account of the device that shows the ticket.
#include <unistd.h>

#include "interfaces/account_answers_json.h"
#include "platform/trust/ticket.h"
#include "tools/distnetctl/account_view.h"
#include "tools/distnetctl/commands.h"
#include "tools/distnetctl/interrupt.h"
#include "tools/distnetctl/printable.h"
#include "tools/distnetctl/questions.h"

namespace Vexo::Ctl {

namespace {

// Checks whether this device can join an account. If it is a member of an account or was removed from one, returns the
// outcome with which the command must end. Called before the user is asked for a ticket.
std::optional<Outcome> WhyNoJoinPossible(Client::DistNetClient& client)
{
    if (auto removed = WhyRemoved(client)) {
        return removed;
    }
    Host::HostStatus status;
    if (!client.GetStatus(status).Succeeded() || !status.account) {
        return std::nullopt;
    }
    return FromFault({Host::AccountFaultCode::MEMBER_ALREADY,
                      "this device is a member of \"" + *status.account + "\" already",
                      "To move it to another account, leave this one first: distnetctl account leave", ""});
}

// Reads a ticket and returns its text if it is valid. On a terminal, asks again after an invalid ticket. If there is no
// valid ticket, returns no value, and the parameter failure receives the outcome with which the command must end.
std::optional<std::string> AskTicket(Output& output, Outcome& failure)
{
    const bool isTerminal = isatty(STDIN_FILENO) == 1;
    LineReader lines(STDIN_FILENO);
    std::string text;
    while (true) {
        if (isTerminal) {
            output.Prompt("Ticket: ");
        }
        if (lines.Next(text) != LineReader::Read::LINE) {
            failure = NotDone("no ticket was given", "`distnetctl account invite` on the other device shows one.");
            return std::nullopt;
        }
        const Result<Trust::Ticket> ticket = Trust::ParseTicket(text);
        if (ticket) {
            return text;
        }
        failure = FromFault({Host::AccountFaultCode::BAD_TICKET, "this is no ticket: " + ticket.error().message,
                             "Upper and lower case, spaces and dashes do not matter.", ""});
        if (!isTerminal) {
            return std::nullopt;
        }
        output.Notice(failure.message);
    }
}

std::string OverText(const std::string& transport)
{
    return transport == "tcp" ? "the LAN" : transport == "bluetooth" ? "Bluetooth" : transport;
}

class Join {
public:
    Join(Output& output, Client::DistNetClient& client) : output_(output), client_(client) {}

    Outcome Run(const std::string& ticket, const std::string& deviceName)
    {
        Client::CallResult call = client_.StartJoin(ticket, deviceName, now_);
        while (call.Succeeded()) {
            output_.Object("account-join-state", Host::ToJson(now_).get());
            if (now_.fault) {
                return FromFault(*now_.fault);
            }
            const Host::JoinAnswer shown = Printable(now_);
            if (now_.phase == Host::JoinPhase::DONE) {
                return Done(output_.Tick() + " This device is \"" + shown.deviceName + "\" in the account \"" +
                            shown.account + "\".");
            }
            Show(shown);
            const uint32_t seen = now_.revision;
            do {
                call = client_.WaitForJoin(seen, Host::HOST_MAX_WAIT, now_);
            } while (call.Succeeded() && now_.revision == seen);
        }
        return FromAccountCall(call);
    }

private:
    void Show(const Host::JoinAnswer& shown)
    {
        if (shown.phase == Host::JoinPhase::SEARCHING) {
            output_.Status("… looking for the device that made it");
        } else if (shown.phase == Host::JoinPhase::CONFIRMING) {
            output_.Line("Found \"" + shown.holder + "\" over " + OverText(shown.transport) + ".");
            output_.Status("Check that \"" + shown.holder + "\" shows " + NumberText(shown.number) + " …");
        }
    }

    Output& output_;
    Client::DistNetClient& client_;
    Host::JoinAnswer now_;
};

}  // namespace

int RunAccountJoin(const GlobalOptions& options, Output& output, const std::string& deviceName)
{
    CancelOnInterrupt(options, output, &Client::DistNetClient::CancelJoin, "cancelled: this device joins no account");
    Outcome failure;
    const auto client = ConnectClient(options, failure);
    if (!client) {
        return output.Finish(std::move(failure));
    }
    if (auto reason = WhyNoJoinPossible(*client)) {
        return output.Finish(*std::move(reason));
    }
    const std::optional<std::string> ticket = AskTicket(output, failure);
    Outcome outcome = ticket ? Join(output, *client).Run(*ticket, deviceName) : std::move(failure);
    WaitIfInterrupted();
    return output.Finish(std::move(outcome));
}

}  // namespace Vexo::Ctl
