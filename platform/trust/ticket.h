// Tickets: what the holder of an account shows to a person, and the person gives to a new device, so that it can join.
// A ticket is a one-time secret of 128 bits and, only where nothing can be announced, the address of the holder. Its
// text has Crockford's base 32 characters in groups; case, spaces and dashes do not matter, and a check symbol catches
// a mistyped character. The secret gives keys for announcements, the preamble and TLS, as a link key does (link_key.h).
// Value types; functions without state that do not block; any thread. Text and keys: docs/enrolment.md.
#pragma once

#include <chrono>
#include <string>
#include <string_view>

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

// What the two sides of an enrolment compute; the conversation: docs/enrolment.md.

inline constexpr size_t JOIN_NONCE_BYTES = 32;
inline constexpr size_t JOIN_COMMITMENT_BYTES = 32;

// A request for enrolment that a joiner sent.
struct EnrolmentRequest {
    std::string pem;   // PKCS#10
    std::string name;  // the device's; 1 to 64 bytes of UTF-8 without control characters
    std::string networkId;
};

[[nodiscard]] Result<std::string> MakeJoinNonce();
// By it the joiner settles what it will send before it knows the holder's nonce. Empty only when memory is short.
std::string JoinCommitment(std::string_view request);
// The six digits that both devices show. exported: of the TLS link between them, so that somebody who holds the ticket
// and stands between two links makes two numbers. request: what the commitment hides until the holder's nonce is known;
// a hash of it would not do, since the commitment shows that. Empty only when memory is short.
std::string JoinNumber(const SecretBytes& exported, std::string_view holderNonce, std::string_view request);

// PKCS#10 in PEM as DER, and back; ReadRequest also checks that the request's own key signed it and that its name can
// be shown.
[[nodiscard]] Result<std::string> RequestToDer(const std::string& pem);
[[nodiscard]] Result<EnrolmentRequest> ReadRequest(std::string_view der);

}  // namespace Vexo::Trust
