#include "platform/trust/tls_context.h"

#include "tests/platform/trust/trust_fixture.h"
#include "tests/support/eventually.h"

namespace Vexo::Trust::Tests {
namespace {

using Context = std::shared_ptr<TlsContext>;

Context ContextOf(const Identity& identity)
{
    auto made = TlsContext::Make(identity);
    EXPECT_TRUE(made) << made.error().message;
    return made ? made.value() : nullptr;
}

// A TLS client and a TLS server. Connect() runs them in turns until the client has received a byte or one of them has
// failed.
struct Connection {
    SslPtr client;
    SslPtr server;
    bool done = false;
    std::string failure = {};
};

Connection Connect(SslPtr client, const Context& clientContext, const Context& serverContext)
{
    Connection pair{std::move(client), serverContext->NewServer()};
    BIO* ends[2] = {nullptr, nullptr};
    EXPECT_EQ(BIO_new_bio_pair(&ends[0], 0, &ends[1], 0), 1);
    SSL_set_bio(pair.client.get(), ends[0], ends[0]);
    SSL_set_bio(pair.server.get(), ends[1], ends[1]);
    const auto note = [&pair](const Context& context, SSL* ssl, int result) {
        const int error = SSL_get_error(ssl, result);
        if (pair.failure.empty() && error != SSL_ERROR_NONE && error != SSL_ERROR_WANT_READ) {
            pair.failure = context->DescribeFailure(ssl);
        }
    };
    char byte = 's';
    for (int turn = 0, sent = 0; turn < 10 && !pair.done && pair.failure.empty(); ++turn) {
        const int got = SSL_read(pair.client.get(), &byte, 1);
        pair.done = got == 1;
        note(clientContext, pair.client.get(), got);
        sent = sent == 1 ? sent : SSL_write(pair.server.get(), &byte, 1);
        note(serverContext, pair.server.get(), sent);
    }
    // Marks both ends as shut down, as the soft bus does. Without this mark, OpenSSL would not resume the TLS session.
    for (SSL* ssl : {pair.client.get(), pair.server.get()}) {
        SSL_set_shutdown(ssl, SSL_SENT_SHUTDOWN | SSL_RECEIVED_SHUTDOWN);
    }
    return pair;
}

Connection Connect(const Context& client, const Context& server, const std::string& wanted = "")
{
    return Connect(client->NewClient(wanted), client, server);
}

// Returns the identity with a new certificate for the same key. The account's key signs the certificate. notAfter: the
// end of the certificate's validity.
Identity WithExpiry(Identity identity, EVP_PKEY* accountKey, std::time_t notAfter)
{
    identity.certificate = EndingAt(identity.certificate.get(), accountKey, notAfter);
    return identity;
}

class TlsContextTest : public testing::Test {
protected:
    void SetUp() override { accountKey = std::move(ReadKeyFile(devices.Folder("laptop") / ACCOUNT_KEY_FILE).value()); }

    Devices devices;
    const Identity laptop = devices.Enrol("laptop");  // The laptop has the account's key.
    const Identity phone = devices.Enrol("phone");
    const Context atLaptop = ContextOf(laptop);
    const Context atPhone = ContextOf(phone);
    PrivateKey accountKey;
};

TEST_F(TlsContextTest, WrongDeviceAccountOrProtocolIsRefused)
{
    const Connection another = Connect(atLaptop, atPhone, std::string(64, 'a'));
    EXPECT_TRUE(another.done) << another.failure;
    ExpectRefused(atLaptop->VerifiedPeer(another.client.get()), "another device of the account answered");
    devices.Create("stranger", "home");  // The name of its account is the same, but the account's key is not.
    const Context strange = ContextOf(devices.Load("stranger"));
    const Context expired = ContextOf(WithExpiry(devices.Load("phone"), accountKey.get(), std::time(nullptr) - 60));
    for (const auto& [peer, why] :
         {std::pair(strange, "certificate not signed by this account"), {expired, "certificate has expired"}}) {
        EXPECT_EQ(Connect(atLaptop, peer).failure, why);
        SslPtr careless = peer->NewClient("");
        SSL_set_verify(careless.get(), SSL_VERIFY_NONE, nullptr);
        EXPECT_EQ(Connect(std::move(careless), peer, atPhone).failure, why) << "by the server";
    }
    SslPtr bare = atLaptop->NewClient("");
    SSL_certs_clear(bare.get());
    EXPECT_EQ(Connect(std::move(bare), atLaptop, atPhone).failure, "peer sent no certificate");
    SslPtr older = atLaptop->NewClient("");
    SSL_set_min_proto_version(older.get(), TLS1_2_VERSION);
    SSL_set_max_proto_version(older.get(), TLS1_2_VERSION);
    EXPECT_EQ(Connect(std::move(older), atLaptop, atPhone).failure, "unsupported protocol");
}

TEST_F(TlsContextTest, SessionsResumeWithFreshTicketUntilForgotten)
{
    const auto resumes = [this] {
        const Connection connection = Connect(atLaptop, atPhone, phone.networkId);
        EXPECT_TRUE(connection.done);
        EXPECT_STREQ(SSL_get_cipher_name(connection.client.get()), "TLS_AES_128_GCM_SHA256");
        const auto server = atLaptop->VerifiedPeer(connection.client.get());
        EXPECT_EQ(server ? server.value() : server.error().message, phone.networkId);
        const auto client = atPhone->VerifiedPeer(connection.server.get());
        EXPECT_EQ(client ? client.value() : client.error().message, laptop.networkId);
        return SSL_session_reused(connection.client.get()) == 1;
    };
    EXPECT_FALSE(resumes());
    EXPECT_TRUE(resumes());
    EXPECT_TRUE(resumes());
    // This client takes the only session ticket and never uses it.
    const SslPtr took = atLaptop->NewClient(phone.networkId);
    EXPECT_FALSE(resumes());
    atLaptop->Forget(phone.networkId);
    EXPECT_FALSE(resumes());
}

TEST_F(TlsContextTest, ExpiredCertificateOrAccountIsRefusedOnResumption)
{
    const std::time_t end = std::time(nullptr) + 2;
    Identity tablet = devices.Enrol("tablet");
    tablet.accountCertificate = EndingAt(tablet.accountCertificate.get(), accountKey.get(), end);
    const Context briefAccount = ContextOf(tablet);
    const Context brief = ContextOf(WithExpiry(devices.Load("phone"), accountKey.get(), end));
    const struct {
        Context client, server;
        std::string wanted;
        Context judge;
        const char* why;
    } rows[] = {
        {atLaptop, brief, phone.networkId, atLaptop, "certificate has expired"},
        {brief, atLaptop, laptop.networkId, atLaptop, "certificate has expired"},
        {briefAccount, atLaptop, laptop.networkId, briefAccount, "the account's certificate has expired"},
        {atLaptop, briefAccount, tablet.networkId, briefAccount, "the account's certificate has expired"},
    };
    for (const auto& row : rows) {
        ASSERT_TRUE(Connect(row.client, row.server, row.wanted).done);
    }
    ASSERT_TRUE(Vexo::Tests::Eventually([&] { return std::time(nullptr) > end; }));
    for (const auto& row : rows) {
        const Connection connection = Connect(row.client, row.server, row.wanted);
        const auto [own, others] = row.judge == row.client
                                       ? std::pair(connection.client.get(), connection.server.get())
                                       : std::pair(connection.server.get(), connection.client.get());
        ASSERT_EQ(SSL_session_reused(own), 1);
        ExpectRefused(row.judge->VerifiedPeer(own), row.why);
        EXPECT_TRUE((row.judge == row.client ? row.server : row.client)->VerifiedPeer(others));
    }
}

}  // namespace
}  // namespace Vexo::Trust::Tests
