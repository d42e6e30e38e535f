// Tickets: what the holder of an account shows to a person, and the person gives to a new device, so that it can join.
// A ticket is a one-time secret of 128 bits and, only where nothing can be announced, the address of the holder. Its
// text has Crockford's base 32 characters in groups; case, spaces and dashes do not matter, and a check symbol catches
// a mistyped character. The secret gives keys for announcements, the preamble and TLS, as a link key does (link_key.h).
// Value types; functions without state that do not block; any thread. Text and keys: docs/enrolment.md.
// Next: ticket_join.h (what both sides compute).
#pragma once

#include <chrono>
#include <string>

#include "platform/base/result.h"
#include "platform/trust/link_key.h"

namespace Vexo::Trust {

inline constexpr size_t TICKET_SECRET_BYTES = 16;
inline constexpr std::chrono::minutes TICKET_LIFE{10};
// The holder still answers a joiner for this long after the ticket was made, to say that it was used or has expired.
inline constexpr std::chrono::minutes TICKET_MEMORY{60};
inline constexpr size_t MAX_TICKET_TEXT = 40;

struct Ticket {
    std::string secret;   // TICKET_SECRET_BYTES; a secret
    std::string address;  // "192.0.2.7:40117", IPv4; empty: the holder announces itself

    ~Ticket();  // overwrites the secret
};

// A new ticket. INVALID_ARGUMENT when address is neither empty nor IPv4 with a port.
[[nodiscard]] Result<Ticket> MakeTicket(const std::string& address);
// Upper case, with dashes; at most MAX_TICKET_TEXT characters.
std::string TicketText(const Ticket& ticket);
// MALFORMED: the message says in one phrase what is wrong with the text and where: "it is too short: 25 of 27
// characters", "a character is mistyped", "\"U\" in group 3 is no character of a ticket".
[[nodiscard]] Result<Ticket> ParseTicket(const std::string& text);

// The ticket's keys, in the place of an account's link keys: for AnnouncementTokens and Preamble.
LinkKeys TicketKeys(const Ticket& ticket);

}  // namespace Vexo::Trust
