// Tickets, with which a new device joins an account. The device that holds the account's key (the holder) shows a
// ticket to a person. The person enters the ticket on the new device (the joiner). A ticket contains a one-time secret
// of 128 bits. If the holder cannot announce itself, the ticket also contains the holder's address. The text of a
// ticket consists of groups of Crockford's base 32 characters. Case, spaces and dashes are ignored, and a check symbol
// detects a mistyped character. The keys for announcements, the preamble (preamble.h) and TLS are derived from the
// secret in the same way as from a link key (link_key.h). docs/enrolment.md describes the text and the keys. The
// functions are thread-safe and do not block.
// Read next: ticket_join.h (what both devices compute).
#pragma once

#include <chrono>
#include <string>

#include "platform/base/result.h"
#include "platform/trust/link_key.h"

namespace Vexo::Trust {

inline constexpr size_t TICKET_SECRET_BYTES = 16;
inline constexpr std::chrono::minutes TICKET_LIFE{10};
// After the creation of a ticket, the holder (the device that shows the ticket) answers connections with the ticket for
// this long. A device that can no longer join, for example after TICKET_LIFE, receives the reason.
inline constexpr std::chrono::minutes TICKET_ANSWER_TIME{60};
inline constexpr size_t MAX_TICKET_TEXT = 40;

struct Ticket {
    std::string secret;   // TICKET_SECRET_BYTES long
    std::string address;  // IPv4, such as "192.0.2.7:40117"; empty: the holder announces itself

    ~Ticket();  // overwrites the secret
};

// Returns a ticket with a new random secret. Returns INVALID_ARGUMENT when the address is neither empty nor an IPv4
// address with a port.
[[nodiscard]] Result<Ticket> MakeTicket(const std::string& address);
// Returns the ticket as text: upper case, with dashes, at most MAX_TICKET_TEXT characters.
std::string TicketText(const Ticket& ticket);
// Parses the text of a ticket. Returns MALFORMED with a message that says what is wrong, such as "a character is
// mistyped" or "it is too short: 25 of 27 characters".
[[nodiscard]] Result<Ticket> ParseTicket(const std::string& text);

// Returns the key of a ticket as LinkKeys. AnnouncementTokens and Preamble use this key instead of an account's link
// keys.
LinkKeys TicketKeys(const Ticket& ticket);

}  // namespace Vexo::Trust
