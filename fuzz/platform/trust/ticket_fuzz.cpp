// Fuzzes the parser of a ticket, which is a text that a person types to join an account.
#include "platform/trust/ticket.h"

#include "fuzz/fuzz_target.h"

namespace Vexo::Trust {
namespace {

std::vector<std::string> Samples()
{
    const std::string secret = "0123456789abcdef";
    return {TicketText({secret, ""}), TicketText({secret, "192.0.2.7:40117"})};
}

bool Run(std::string_view input)
{
    const auto ticket = ParseTicket(std::string(input));
    if (!ticket) {
        Fuzz::Require(!ticket.error().message.empty(), "a refusal says why");
        return false;
    }
    const std::string text = TicketText(ticket.value());
    const auto again = ParseTicket(text);
    Fuzz::Require(text.size() <= MAX_TICKET_TEXT, "a ticket's text is short enough to type");
    Fuzz::Require(
        again && again.value().secret == ticket.value().secret && again.value().address == ticket.value().address,
        "what was read is written as the same");
    return true;
}

const Fuzz::Registration REGISTRATION({"trust_ticket", Samples, Run});

}  // namespace
}  // namespace Vexo::Trust
