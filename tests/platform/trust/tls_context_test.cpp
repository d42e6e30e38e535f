#include "platform/trust/tls_context.h"

#include "platform/trust/peer_psks.h"
#include "tests/platform/trust/trust_fixture.h"
#include "tests/support/eventually.h"
#include "tests/support/manual_timers.h"

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

TEST_F(TlsContextTest, EachPskIsAcceptedOnceUntilForgottenByEitherEnd)
{
    const auto connect = [this](SslPtr ssl) {
        Connection connection = Connect(std::move(ssl), atLaptop, atPhone);
        EXPECT_TRUE(connection.done) << connection.failure;
        EXPECT_STREQ(SSL_get_cipher_name(connection.client.get()), "TLS_AES_128_GCM_SHA256");
        const auto server = atLaptop->VerifiedPeer(connection.client.get());
        EXPECT_EQ(server ? server.value() : server.error().message, phone.networkId);
        const auto client = atPhone->VerifiedPeer(connection.server.get());
        EXPECT_EQ(client ? client.value() : client.error().message, laptop.networkId);
        EXPECT_EQ(SSL_session_reused(connection.client.get()), SSL_session_reused(connection.server.get()));
        return connection;
    };
    const auto usesPsk = [&] {
        const Connection connection = connect(atLaptop->NewClient(phone.networkId));
        atLaptop->RememberPeer(connection.client.get(), phone.networkId);
        atPhone->RememberPeer(connection.server.get(), laptop.networkId);
        return SSL_session_reused(connection.client.get()) == 1;
    };
    EXPECT_FALSE(usesPsk());
    EXPECT_TRUE(usesPsk());
    EXPECT_TRUE(usesPsk()) << "with the key of a connection that used a key";
    // This client takes the only key and never uses it.
    const SslPtr took = atLaptop->NewClient(phone.networkId);
    EXPECT_FALSE(usesPsk());
    for (const auto& [end, peer] : {std::pair(atLaptop, phone.networkId), {atPhone, laptop.networkId}}) {
        EXPECT_TRUE(usesPsk());
        end->Forget(peer);
        EXPECT_FALSE(usesPsk());
    }

    const Connection last = connect(atLaptop->NewClient(phone.networkId));
    atPhone->RememberPeer(last.server.get(), laptop.networkId);
    for (const bool isFirst : {true, false}) {
        atLaptop->RememberPeer(last.client.get(), phone.networkId);
        EXPECT_EQ(SSL_session_reused(connect(atLaptop->NewClient(phone.networkId)).client.get()), isFirst ? 1 : 0);
    }
    // The keys of connections to the phone do not serve for connections from the phone.
    EXPECT_FALSE(usesPsk());
    EXPECT_EQ(SSL_session_reused(Connect(atPhone, atLaptop, laptop.networkId).client.get()), 0);
}

TEST_F(TlsContextTest, WrongPskOfKnownIdentityIsRefused)
{
    const Connection first = Connect(atLaptop, atPhone, phone.networkId);
    ASSERT_TRUE(first.done);
    atPhone->RememberPeer(first.server.get(), laptop.networkId);
    static PeerPsk guess;  // a callback of OpenSSL has no context
    guess = DerivePsk(first.client.get()).value_or(PeerPsk{});
    const std::string wrong(32, 'k');
    ASSERT_EQ(SSL_SESSION_set1_master_key(guess.session.get(), reinterpret_cast<const unsigned char*>(wrong.data()),
                                          wrong.size()),
              1);
    SslPtr client = atLaptop->NewClient(phone.networkId);
    SSL_set_psk_use_session_callback(
        client.get(), [](SSL*, const EVP_MD*, const unsigned char** identity, size_t* bytes, SSL_SESSION** session) {
            *identity = reinterpret_cast<const unsigned char*>(guess.identity.data());
            *bytes = guess.identity.size();
            *session = SSL_SESSION_dup(guess.session.get());
            return 1;
        });
    EXPECT_EQ(Connect(std::move(client), atLaptop, atPhone).failure, "binder does not verify");
    guess = {};
}

TEST_F(TlsContextTest, PsksAreLimitedInNumberAndAge)
{
    Vexo::Tests::ManualTimers clock;
    PeerPsks psks(clock);
    const auto add = [&](const std::string& networkId, const std::string& identity) {
        psks.Add(networkId, {identity, SessionPtr(SSL_SESSION_new())});
    };
    for (size_t i = 0; i <= PeerPsks::MAX_PER_PEER; ++i) {
        add("phone", "phone " + std::to_string(i));
    }
    EXPECT_FALSE(psks.Take("phone 0")) << "the oldest";
    EXPECT_TRUE(psks.Take("phone 1"));
    EXPECT_EQ(psks.TakeNewestFor("phone").value_or(PeerPsk{}).identity,
              "phone " + std::to_string(PeerPsks::MAX_PER_PEER));
    for (size_t i = 0; i < PeerPsks::MAX_PSKS; ++i) {
        add(std::to_string(i), "of " + std::to_string(i));
    }
    EXPECT_FALSE(psks.TakeNewestFor("phone"));
    clock.Advance(PeerPsks::LIFETIME - std::chrono::seconds(1));
    EXPECT_TRUE(psks.Take("of 0"));
    add("watch", "late");
    clock.Advance(std::chrono::seconds(1));
    EXPECT_FALSE(psks.Take("of 1"));
    EXPECT_TRUE(psks.Take("late"));
}

TEST_F(TlsContextTest, ExpiredCertificateOrAccountIsRefusedWithPsk)
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
        const Connection first = Connect(row.client, row.server, row.wanted);
        ASSERT_TRUE(first.done);
        row.client->RememberPeer(first.client.get(), row.wanted);
        row.server->RememberPeer(first.server.get(), row.wanted);
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
