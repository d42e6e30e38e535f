#include "platform/trust/ticket.h"

#include <algorithm>
#include <cctype>

#include "platform/base/hex.h"
#include "platform/trust/announcement_tokens.h"
#include "platform/trust/preamble.h"
#include "platform/trust/tls_context.h"
#include "tests/platform/trust/trust_fixture.h"

namespace Vexo::Trust::Tests {
namespace {

constexpr std::string_view DIGITS = "0123456789ABCDEFGHJKMNPQRSTVWXYZ";
const std::string SECRET{"\x00\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0a\x0b\x0c\x0d\xfe\xff", 16};
// The text of a ticket with SECRET: 26 digits and a check symbol. Another program computed this text from the
// documented format.
constexpr const char* SHORT_TEXT = "0004-1061-050R-3GG2-8A1C-60VZ-QZ7";
constexpr const char* ADDRESS = "192.0.2.7:40117";

std::string WithoutDashes(std::string text)
{
    std::erase(text, '-');
    return text;
}

TEST(TicketTest, TicketIsReadInEveryTypedForm)
{
    for (const std::string address : {"", ADDRESS}) {
        const std::string text = TicketText({SECRET, address});
        EXPECT_LE(text.size(), MAX_TICKET_TEXT);
        std::string lower = text;
        std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return std::tolower(c); });
        std::string spaced = " " + text + "\r\n";
        std::replace(spaced.begin(), spaced.end(), '-', ' ');
        std::string letters = text;
        std::replace(letters.begin(), letters.end(), '0', 'o');
        std::replace(letters.begin(), letters.end(), '1', 'l');
        std::string otherLetters = text;
        std::replace(otherLetters.begin(), otherLetters.end(), '0', 'O');
        std::replace(otherLetters.begin(), otherLetters.end(), '1', 'I');
        for (const std::string& typed : {text, WithoutDashes(text), lower, spaced, letters, otherLetters}) {
            const auto read = ParseTicket(typed);
            ASSERT_TRUE(read) << typed << ": " << read.error().message;
            EXPECT_EQ(read.value().secret, SECRET) << typed;
            EXPECT_EQ(read.value().address, address);
        }
    }
    EXPECT_EQ(TicketText({SECRET, ""}), SHORT_TEXT);
}

// The expected values were computed from docs/enrolment.md without this code.
TEST(TicketTest, TextAndKeyMatchDocumentation)
{
    std::string secret;
    for (char byte = 0; byte < static_cast<char>(TICKET_SECRET_BYTES); ++byte) {
        secret += byte;
    }
    EXPECT_EQ(TicketText({secret, ""}), "0004-1061-050R-3GG2-8A1C-60T3-GF6");
    EXPECT_EQ(TicketText({secret, "192.0.2.7:40117"}), "0004106105-0R3GG28A1-C60T3GF60-0010F75NE");
    EXPECT_EQ(HexOf(TicketKeys({secret, ""}).current.bytes),
              "4119f5e68cad61a5f3af4f192a62d77608b2ee7f4d5f17251456fcb962ae6aaf");
}

TEST(TicketTest, WrongOrSwappedSymbolsAreDetected)
{
    for (const std::string address : {"", ADDRESS}) {
        const std::string text = WithoutDashes(TicketText({SECRET, address}));
        for (size_t i = 0; i < text.size(); ++i) {
            for (const char symbol : DIGITS) {
                std::string wrong = text;
                wrong[i] = symbol;
                EXPECT_TRUE(symbol == text[i] || !ParseTicket(wrong)) << wrong;
            }
            // If a digit and the check symbol are swapped, ParseTicket() detects the swap only if the two are
            // neighbours.
            for (size_t j = i + 1; j < text.size() - (i + 2 < text.size() ? 1 : 0); ++j) {
                std::string swapped = text;
                std::swap(swapped[i], swapped[j]);
                EXPECT_TRUE(text[i] == text[j] || !ParseTicket(swapped)) << swapped;
            }
        }
    }
}

TEST(TicketTest, ErrorNamesFaultAndPosition)
{
    const std::string good = SHORT_TEXT;
    const struct {
        std::string typed;
        const char* why;
    } rows[] = {
        {"", "it is too short: 0 of 27 characters"},
        {good.substr(0, good.size() - 2), "it is too short: 25 of 27 characters"},
        {good + "1", "it has 28 characters; a ticket has 27, or 37 with an address"},
        {std::string(5000, 'A'), "it has 5000 characters"},
        {"0004-1061-0U0R-3GG2-8A1C-60VZ-QZ7", "\"U\" in group 3 is no character of a ticket"},
        {std::string("0004-1061-05\0", 13), "a character in group 3 is no character of a ticket"},
        {"0004-1061-050R-3GG2-8A1C-60VZ-QZ8", "a character is mistyped"},
        // In these two rows, the secret is zero. The first row has the version of a newer ticket, and the second row
        // has an address of zeros. The loop below tries every check symbol in place of "?".
        {"8000-0000-0000-0000-0000-0000-00?", "it was made by a newer version"},
        {"0000000000-000000000-000000000-00000000?", "its address has port 0"},
    };
    for (const auto& row : rows) {
        std::string why;
        const size_t unknown = row.typed.find('?');
        for (const char symbol : std::string("0123456789ABCDEFGHJKMNPQRSTVWXYZ*~$=U")) {
            const std::string typed = row.typed.substr(0, unknown) + (unknown < row.typed.size() ? symbol : ' ');
            const auto read = ParseTicket(typed);
            ASSERT_FALSE(read) << typed;
            EXPECT_EQ(read.error().code, ErrorCode::MALFORMED);
            why = why.empty() || why == "a character is mistyped" ? read.error().message : why;
        }
        EXPECT_NE(why.find(row.why), std::string::npos) << why;
    }
    for (const char* address : {"example.org:1", "[2001:db8::7]:1", "192.0.2.7", "192.0.2.7:0"}) {
        EXPECT_FALSE(MakeTicket(address)) << address;
    }
    EXPECT_EQ(MakeTicket(ADDRESS).value().address, ADDRESS);
    EXPECT_NE(MakeTicket("").value().secret, MakeTicket("").value().secret);
}

TEST(TicketTest, OnlySameSecretReadsTokensAndProofs)
{
    const Ticket mine{SECRET, ""};
    Ticket other = mine;
    other.secret[15] = '\0';
    for (const auto& [reader, isMine] : {std::pair(Ticket{SECRET, ADDRESS}, true), {other, false}}) {
        const auto tokens = [](const Ticket& ticket) {
            return AnnouncementTokens::Make(TicketKeys(ticket), "tcp").value();
        };
        EXPECT_EQ(tokens(reader)->Read(tokens(mine)->MakeToken(std::string(64, 'a'))).has_value(), isMine);
        const std::string proof = Preamble::Make(TicketKeys(mine)).value()->Prove("challenge", "first");
        EXPECT_EQ(Preamble::Make(TicketKeys(reader)).value()->IsProof(proof, "challenge", "first"), isMine);
    }
}

// --- TLS with a ticket ---

struct Handshake {
    bool done = false;
    std::string fromServer;  // all bytes that the server sent
    std::string clientSays;
    std::string serverSays;
};

void Feed(SSL* to, const std::string& bytes)
{
    BIO_write(SSL_get_rbio(to), bytes.data(), static_cast<int>(bytes.size()));
}

Handshake Connect(TlsContext& clientContext, TlsContext& serverContext, SSL* client, SSL* server)
{
    Handshake result;
    for (SSL* ssl : {client, server}) {
        SSL_set_bio(ssl, BIO_new(BIO_s_mem()), BIO_new(BIO_s_mem()));
        BIO_set_mem_eof_return(SSL_get_rbio(ssl), -1);
    }
    const auto step = [](TlsContext& context, SSL* ssl, std::string& says) {
        char byte = 0;
        const int got = SSL_read(ssl, &byte, 1);
        if (says.empty() && SSL_get_error(ssl, got) == SSL_ERROR_SSL) {
            says = context.DescribeFailure(ssl);
        }
        const std::string out = WrittenTo(SSL_get_wbio(ssl));
        (void)BIO_reset(SSL_get_wbio(ssl));
        return out;
    };
    for (int turn = 0; turn < 4; ++turn) {
        Feed(server, step(clientContext, client, result.clientSays));
        const std::string answer = step(serverContext, server, result.serverSays);
        result.fromServer += answer;
        Feed(client, answer);
    }
    result.done = SSL_is_init_finished(client) == 1 && SSL_is_init_finished(server) == 1;
    return result;
}

using Context = std::shared_ptr<TlsContext>;

Context ContextOf(const Ticket& ticket)
{
    return TlsContext::MakeForTicket(ticket).value();
}

TEST(TicketTlsTest, TicketAloneOpensLinkWithFreshKeyExchangeOnly)
{
    const Context context = ContextOf({SECRET, ""});
    const Context joiner = ContextOf({SECRET, ADDRESS});
    const SslPtr client = joiner->NewClient("");
    const SslPtr server = context->NewServer();
    EXPECT_FALSE(context->VerifiedPeer(server.get()));
    const Handshake handshake = Connect(*joiner, *context, client.get(), server.get());
    ASSERT_TRUE(handshake.done) << handshake.clientSays << handshake.serverSays;
    EXPECT_EQ(joiner->VerifiedPeer(client.get()).value(), TICKET_PEER);
    EXPECT_EQ(context->VerifiedPeer(server.get()).value(), TICKET_PEER);
    EXPECT_EQ(SSL_get0_peer_certificate(client.get()), nullptr);
    EXPECT_NE(SSL_get_negotiated_group(client.get()), 0) << "an ephemeral exchange";
    EXPECT_EQ(SSL_SESSION_has_ticket(SSL_get_session(client.get())), 0);
}

TEST(TicketTlsTest, ServerSendsOnlyAlertWithoutSecret)
{
    const Context context = ContextOf({SECRET, ""});
    Ticket guess{SECRET, ""};
    guess.secret[0] = '\x01';
    const Context guesser = ContextOf(guess);
    Devices devices;
    const Context member = TlsContext::Make(devices.Enrol("laptop")).value();
    const auto bare = [] {
        SSL_CTX* const noKey = SSL_CTX_new(TLS_client_method());
        SslPtr ssl(SSL_new(noKey));
        SSL_CTX_free(noKey);
        SSL_set_connect_state(ssl.get());
        return ssl;
    };
    SslPtr clients[] = {guesser->NewClient(""), member->NewClient(""), bare()};
    for (const SslPtr& client : clients) {
        const SslPtr server = context->NewServer();
        const Handshake handshake = Connect(*guesser, *context, client.get(), server.get());
        EXPECT_FALSE(handshake.done);
        EXPECT_FALSE(context->VerifiedPeer(server.get()));
        EXPECT_FALSE(handshake.serverSays.empty());
        // The server must send exactly one TLS record of type "alert": a header of 5 bytes and 2 bytes of content (RFC
        // 8446, 5.1 and 6).
        ASSERT_EQ(handshake.fromServer.size(), 7U) << handshake.serverSays;
        EXPECT_EQ(handshake.fromServer[0], 21);
    }
    const SslPtr client = context->NewClient("");
    const SslPtr server = member->NewServer();
    EXPECT_FALSE(Connect(*context, *member, client.get(), server.get()).done) << "a server with a certificate instead";
    EXPECT_FALSE(context->VerifiedPeer(client.get()));
}

}  // namespace
}  // namespace Vexo::Trust::Tests
