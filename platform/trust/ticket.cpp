#include "platform/trust/ticket.h"

#include <arpa/inet.h>
#include <openssl/crypto.h>
#include <openssl/rand.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>

#include "platform/base/host_port.h"
#include "platform/trust/openssl_util.h"

namespace Vexo::Trust {

namespace {

// The first 32 symbols are the digits of base 32. Only the check symbol of a ticket may be one of the other symbols.
constexpr std::string_view SYMBOLS = "0123456789ABCDEFGHJKMNPQRSTVWXYZ*~$=U";
constexpr size_t DIGITS = 32;
constexpr size_t BITS_OF_DIGIT = 5;
constexpr size_t CHECK_MODULUS = 37;
static_assert(SYMBOLS.size() == CHECK_MODULUS);

// The secret (128 bits) and the address (48 bits) are each written in base 32, the most significant digit first. The
// digits of the secret have 130 bits, and the digits of the address have 50 bits. The first 2 bits of the secret's
// digits are the ticket's version. The first 2 bits of the address's digits are 0.
constexpr size_t SECRET_DIGITS = 26;
constexpr size_t ADDRESS_DIGITS = 10;
constexpr size_t SHORT_TICKET = SECRET_DIGITS + 1;
constexpr size_t LONG_TICKET = SECRET_DIGITS + ADDRESS_DIGITS + 1;
constexpr size_t DIGITS_OF_VERSION_0 = 8;  // a ticket whose first digit is less than this has version 0
constexpr size_t HOST_BYTES = 4;
constexpr size_t ADDRESS_BYTES = 6;

constexpr const char* PURPOSE = "distnet ticket";

using Values = std::string;  // each char is the index of a symbol in SYMBOLS

Values DigitsOf(std::string_view bytes, size_t count)
{
    Values digits(count, '\0');
    for (size_t i = 0; i < count * BITS_OF_DIGIT && i < bytes.size() * 8; ++i) {
        const unsigned bit = static_cast<uint8_t>(bytes[bytes.size() - 1 - i / 8]) >> (i % 8) & 1U;
        digits[count - 1 - i / BITS_OF_DIGIT] |= static_cast<char>(bit << (i % BITS_OF_DIGIT));
    }
    return digits;
}

std::string BytesOf(std::string_view digits, size_t count)
{
    std::string bytes(count, '\0');
    for (size_t i = 0; i < count * 8; ++i) {
        const unsigned bit =
            static_cast<uint8_t>(digits[digits.size() - 1 - i / BITS_OF_DIGIT]) >> (i % BITS_OF_DIGIT) & 1U;
        bytes[count - 1 - i / 8] = static_cast<char>(static_cast<uint8_t>(bytes[count - 1 - i / 8]) | bit << (i % 8));
    }
    return bytes;
}

// Returns the number that the base-32 digits represent, modulo CHECK_MODULUS.
size_t CheckOf(std::string_view digits)
{
    size_t rest = 0;
    for (const char digit : digits) {
        rest = (rest * DIGITS + static_cast<size_t>(digit)) % CHECK_MODULUS;
    }
    return rest;
}

// Returns true if a ticket of the given length has a dash before the symbol. place: the index of the symbol.
bool BeginsGroup(size_t place, size_t length)
{
    return place != 0 && (length <= SHORT_TICKET ? place % 4 == 0 : place >= 10 && (place - 10) % 9 == 0);
}

size_t GroupOf(size_t place, size_t length)
{
    size_t group = 1;
    for (size_t i = 1; i <= place; ++i) {
        group += BeginsGroup(i, length) ? 1 : 0;
    }
    return group;
}

bool IsSeparator(char character)
{
    return character == '-' || std::isspace(static_cast<unsigned char>(character)) != 0;
}

// Returns the text in upper case without separators. Replaces I and L by 1, and O by 0.
std::string Normalised(std::string_view text)
{
    std::string symbols;
    symbols.reserve(text.size());  // a reallocation would leave a copy of the secret in memory
    for (const char character : text) {
        const char upper = static_cast<char>(std::toupper(static_cast<unsigned char>(character)));
        if (!IsSeparator(character)) {
            symbols += upper == 'I' || upper == 'L' ? '1' : upper == 'O' ? '0' : upper;
        }
    }
    return symbols;
}

Result<std::string> AddressBytes(const std::string& address)
{
    const auto where = ParseHostPort(address);
    std::string bytes(ADDRESS_BYTES, '\0');
    if (!where || where.value().port == 0 || ::inet_pton(AF_INET, where.value().host.c_str(), bytes.data()) != 1) {
        return Fail(ErrorCode::INVALID_ARGUMENT, "\"" + address + "\" is no IPv4 address with a port");
    }
    bytes[HOST_BYTES] = static_cast<char>(where.value().port >> 8U);
    bytes[HOST_BYTES + 1] = static_cast<char>(where.value().port & 0xFFU);
    return bytes;
}

// Returns the address as text, or an empty string when the port is 0.
std::string AddressOf(const std::string& bytes)
{
    std::array<char, INET_ADDRSTRLEN> host{};
    const auto port = static_cast<uint16_t>(static_cast<uint8_t>(bytes[HOST_BYTES]) << 8U |
                                            static_cast<uint8_t>(bytes[HOST_BYTES + 1]));
    return port != 0 && ::inet_ntop(AF_INET, bytes.data(), host.data(), host.size()) != nullptr
               ? ToText(HostPort{host.data(), port})
               : "";
}

// Returns the values of a ticket's symbols. The error names the first wrong symbol, or says that the number of symbols
// is wrong.
Result<Values> ValuesOf(const std::string& symbols)
{
    Values values;
    for (size_t i = 0; i < symbols.size() && i < LONG_TICKET; ++i) {
        const size_t value = SYMBOLS.find(symbols[i]);
        if (value == std::string_view::npos || (value >= DIGITS && i + 1 < symbols.size())) {
            const bool isPlain = std::isprint(static_cast<unsigned char>(symbols[i])) != 0;
            return Fail(ErrorCode::MALFORMED, (isPlain ? "\"" + symbols.substr(i, 1) + "\"" : "a character") +
                                                  " in group " + std::to_string(GroupOf(i, symbols.size())) +
                                                  " is no character of a ticket");
        }
        values += static_cast<char>(value);
    }
    const std::string length = std::to_string(symbols.size());
    if (symbols.size() < SHORT_TICKET) {
        return Fail(ErrorCode::MALFORMED,
                    "it is too short: " + length + " of " + std::to_string(SHORT_TICKET) + " characters");
    }
    if (symbols.size() != SHORT_TICKET && symbols.size() != LONG_TICKET) {
        return Fail(ErrorCode::MALFORMED, "it has " + length + " characters; a ticket has " +
                                              std::to_string(SHORT_TICKET) + ", or " + std::to_string(LONG_TICKET) +
                                              " with an address");
    }
    return values;
}

}  // namespace

Ticket::~Ticket()
{
    OPENSSL_cleanse(secret.data(), secret.size());
}

Result<Ticket> MakeTicket(const std::string& address)
{
    Ticket ticket{std::string(TICKET_SECRET_BYTES, '\0'), address};
    if (!address.empty()) {
        if (const auto bytes = AddressBytes(address); !bytes) {
            return Failure(bytes.error());
        }
    }
    if (RAND_priv_bytes(reinterpret_cast<unsigned char*>(ticket.secret.data()), TICKET_SECRET_BYTES) != 1) {
        return Fail(ErrorCode::SYSTEM, "no random bytes for a ticket: " + OpenSslReason());
    }
    return ticket;
}

std::string TicketText(const Ticket& ticket)
{
    SecretText values{DigitsOf(ticket.secret, SECRET_DIGITS)};
    if (const auto address = AddressBytes(ticket.address)) {
        values.text += DigitsOf(address.value(), ADDRESS_DIGITS);
    }
    values.text += static_cast<char>(CheckOf(values.text));
    std::string text;
    for (size_t i = 0; i < values.text.size(); ++i) {
        text += BeginsGroup(i, values.text.size()) ? "-" : "";
        text += SYMBOLS[static_cast<size_t>(values.text[i])];
    }
    return text;
}

Result<Ticket> ParseTicket(const std::string& text)
{
    const SecretText symbols{Normalised(text)};
    auto parsed = ValuesOf(symbols.text);
    if (!parsed) {
        return Failure(std::move(parsed).error());
    }
    const SecretText values{std::move(parsed.value())};
    const std::string_view digits = std::string_view(values.text).substr(0, values.text.size() - 1);
    if (CheckOf(digits) != static_cast<size_t>(values.text.back())) {
        return Fail(ErrorCode::MALFORMED, "a character is mistyped");
    }
    if (static_cast<size_t>(digits.front()) >= DIGITS_OF_VERSION_0) {
        return Fail(ErrorCode::MALFORMED, "it was made by a newer version");
    }
    Ticket ticket{BytesOf(digits.substr(0, SECRET_DIGITS), TICKET_SECRET_BYTES), ""};
    if (digits.size() > SECRET_DIGITS) {
        ticket.address = AddressOf(BytesOf(digits.substr(SECRET_DIGITS), ADDRESS_BYTES));
        if (ticket.address.empty()) {
            return Fail(ErrorCode::MALFORMED, "its address has port 0");
        }
    }
    return ticket;
}

LinkKeys TicketKeys(const Ticket& ticket)
{
    return {LinkKey{1, DeriveKey(ticket.secret, PURPOSE)}};
}

}  // namespace Vexo::Trust
