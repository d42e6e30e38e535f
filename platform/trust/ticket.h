// Tickets, with which a new device joins an account. The device that holds the account's key (the holder) shows a
// ticket to a person, who enters it on the new device (the joiner). A ticket contains a one-time secret of 128 bits
// and, only if the holder cannot announce itself, the holder's address. Its text consists of Crockford's base 32
// characters in groups; case, spaces and dashes are ignored, and a check symbol detects a mistyped character. The keys
// for announcements, the preamble and TLS are derived from the secret, as from a link key (link_key.h). Value types;
// functions without state that do not block; any thread. Text and keys: docs/enrolment.md.
// Next: ticket_join.h (what both sides compute).
#pragma once

#include <chrono>
#include <string>

#include "platform/base/result.h"
#include "platform/trust/link_key.h"

namespace Vexo::Trust {

inline constexpr size_t TICKET_SECRET_BYTES = 16;
inline constexpr std::chrono::minutes TICKET_LIFE{10};
// The holder answers joiners for this long after it made the ticket. If the ticket was used or has expired, the answer
// says so.
inline constexpr std::chrono::minutes TICKET_MEMORY{60};
inline constexpr size_t MAX_TICKET_TEXT = 40;

struct Ticket {
    std::string secret;   // TICKET_SECRET_BYTES long
    std::string address;  // "192.0.2.7:40117", IPv4; empty: the holder announces itself

    ~Ticket();  // overwrites the secret
};

// Returns a ticket with a new random secret. INVALID_ARGUMENT when address is neither empty nor IPv4 with a port.
[[nodiscard]] Result<Ticket> MakeTicket(const std::string& address);
// Returns the ticket as text: upper case, with dashes, at most MAX_TICKET_TEXT characters.
std::string TicketText(const Ticket& ticket);
// Parses a ticket's text. MALFORMED: the message is a phrase that says what is wrong: "it is too short: 25 of 27
// characters", "a character is mistyped", "\"U\" in group 3 is no character of a ticket".
[[nodiscard]] Result<Ticket> ParseTicket(const std::string& text);

// Returns the key that AnnouncementTokens and Preamble use for a ticket, in place of an account's link keys.
LinkKeys TicketKeys(const Ticket& ticket);

}  // namespace Vexo::Trust
