#include "platform/trust/tls_context.h"

#include <sys/socket.h>

#include <chrono>
#include <thread>

#include "platform/base/unique_fd.h"
#include "tests/platform/trust/trust_fixture.h"

namespace Vexo::Trust::Tests {
namespace {

using Context = std::shared_ptr<TlsContext>;

Context ContextOf(const Identity& identity)
{
    auto made = TlsContext::Make(identity);
    EXPECT_TRUE(made) << made.Message();
    return made ? made.Value() : nullptr;
}

// Two TLS objects over a socket pair, driven in turns until a byte of the server has reached the client.
struct Connection {
    UniqueFd clientEnd;
    UniqueFd serverEnd;
    SslPtr client;
    SslPtr server;
    bool done = false;
    std::string clientFailure = {};
    std::string serverFailure = {};
};

bool Failed(SSL* ssl, int result)
{
    const int error = SSL_get_error(ssl, result);
    return error != SSL_ERROR_NONE && error != SSL_ERROR_WANT_READ && error != SSL_ERROR_WANT_WRITE;
}

Connection Connect(SslPtr client, const Context& clientContext, const Context& serverContext)
{
    int ends[2] = {-1, -1};
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends), 0);
    Connection pair{UniqueFd(ends[0]), UniqueFd(ends[1]), std::move(client), serverContext->NewServer()};
    SSL_set_fd(pair.client.get(), ends[0]);
    SSL_set_fd(pair.server.get(), ends[1]);
    char byte = 's';
    int sent = 0;
    for (int turn = 0; turn < 10 && !pair.done && pair.serverFailure.empty(); ++turn) {
        const int got = SSL_read(pair.client.get(), &byte, 1);
        pair.done = got == 1;
        if (clientContext && pair.clientFailure.empty() && Failed(pair.client.get(), got)) {
            pair.clientFailure = clientContext->DescribeFailure(pair.client.get());
        }
        sent = sent == 1 ? sent : SSL_write(pair.server.get(), &byte, 1);
        if (Failed(pair.server.get(), sent)) {
            pair.serverFailure = serverContext->DescribeFailure(pair.server.get());
        }
    }
    // Ended as the links of the soft bus end: a session that may be resumed.
    SSL_set_shutdown(pair.client.get(), SSL_SENT_SHUTDOWN | SSL_RECEIVED_SHUTDOWN);
    SSL_set_shutdown(pair.server.get(), SSL_SENT_SHUTDOWN | SSL_RECEIVED_SHUTDOWN);
    return pair;
}

Connection Connect(const Context& client, const Context& server, const std::string& wanted = "")
{
    return Connect(client->NewClient(wanted), client, server);
}

// identity with another certificate of its account for the same key, whose validity ends at notAfter.
Identity WithExpiry(Identity identity, EVP_PKEY* accountKey, std::time_t notAfter)
{
    Certificate certificate(X509_dup(identity.certificate.get()));
    ASN1_TIME_set(X509_getm_notAfter(certificate.get()), notAfter);
    EXPECT_GT(X509_sign(certificate.get(), accountKey, EVP_sha256()), 0);
    identity.certificate = std::move(certificate);
    return identity;
}

class TlsContextTest : public testing::Test {
protected:
    void SetUp() override
    {
        devices.Create("laptop");
        ASSERT_TRUE(Install(devices.Folder("phone"), devices.Chain("phone", "laptop")));
        laptop = devices.Load("laptop");
        phone = devices.Load("phone");
        atLaptop = ContextOf(laptop);
        atPhone = ContextOf(phone);
        accountKey = std::move(ReadKeyFile(devices.Folder("laptop") / ACCOUNT_KEY_FILE).Value());
    }

    Devices devices;
    Identity laptop;
    Identity phone;
    Context atLaptop;
    Context atPhone;
    PrivateKey accountKey;
};

TEST_F(TlsContextTest, DevicesOfOneAccountKnowEachOtherAfterTheHandshake)
{
    const Connection connection = Connect(atLaptop, atPhone, phone.networkId);

    ASSERT_TRUE(connection.done) << connection.clientFailure << "; " << connection.serverFailure;
    const auto server = atLaptop->VerifiedPeer(connection.client.get());
    const auto client = atPhone->VerifiedPeer(connection.server.get());
    ASSERT_TRUE(server) << server.Message();
    ASSERT_TRUE(client) << client.Message();
    EXPECT_EQ(server.Value(), phone.networkId);
    EXPECT_EQ(client.Value(), laptop.networkId);
    EXPECT_STREQ(SSL_get_cipher_name(connection.client.get()), "TLS_AES_128_GCM_SHA256");
    const Connection another = Connect(atLaptop, atPhone, std::string(64, 'a'));
    EXPECT_FALSE(atLaptop->VerifiedPeer(another.client.get())) << "another device of the account than was asked for";
}

struct FreeContext {
    void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
};

// A client that checks nobody, so that the server alone decides. Null: without a certificate.
SslPtr Trusting(const Identity* identity, int version = TLS1_3_VERSION)
{
    const std::unique_ptr<SSL_CTX, FreeContext> context(SSL_CTX_new(TLS_client_method()));
    if (identity != nullptr) {
        SSL_CTX_use_certificate(context.get(), identity->certificate.get());
        SSL_CTX_use_PrivateKey(context.get(), identity->key.get());
    }
    SslPtr ssl(SSL_new(context.get()));
    SSL_set_max_proto_version(ssl.get(), version);
    SSL_set_connect_state(ssl.get());
    return ssl;
}

TEST_F(TlsContextTest, AServerRefusesClientsThatAreNotOfItsAccountNow)
{
    devices.Create("stranger", "home");  // the same name, another key
    const Identity stranger = devices.Load("stranger");
    const Identity expired = WithExpiry(devices.Load("phone"), accountKey.get(), std::time(nullptr) - 60);
    const struct {
        const Identity* client;
        int version;
        const char* why;
    } cases[] = {
        {&stranger, TLS1_3_VERSION, "certificate not signed by this account"},
        {&expired, TLS1_3_VERSION, "certificate has expired"},
        {nullptr, TLS1_3_VERSION, "peer sent no certificate"},
        {&laptop, TLS1_2_VERSION, "unsupported protocol"},
    };
    for (const auto& [client, version, why] : cases) {
        const Connection connection = Connect(Trusting(client, version), nullptr, atPhone);
        EXPECT_FALSE(connection.done) << why;
        EXPECT_EQ(connection.serverFailure, why);
    }
    EXPECT_TRUE(Connect(Trusting(&laptop), nullptr, atPhone).done);
}

TEST_F(TlsContextTest, AClientRefusesServersThatAreNotOfItsAccountNow)
{
    devices.Create("stranger", "home");
    const Context strange = ContextOf(devices.Load("stranger"));
    const Context expired = ContextOf(WithExpiry(devices.Load("phone"), accountKey.get(), std::time(nullptr) - 60));

    EXPECT_EQ(Connect(atLaptop, strange).clientFailure, "certificate not signed by this account");
    EXPECT_EQ(Connect(atLaptop, expired).clientFailure, "certificate has expired");
}

TEST_F(TlsContextTest, LaterSessionsResumeEachWithAFreshTicketUntilItIsForgotten)
{
    const auto resumes = [this] {
        const Connection connection = Connect(atLaptop, atPhone, phone.networkId);
        EXPECT_TRUE(connection.done);
        EXPECT_TRUE(atLaptop->VerifiedPeer(connection.client.get()));
        const auto client = atPhone->VerifiedPeer(connection.server.get());
        EXPECT_EQ(client ? client.Value() : client.Message(), laptop.networkId);
        return SSL_session_reused(connection.client.get()) == 1;
    };
    EXPECT_FALSE(resumes());
    EXPECT_TRUE(resumes());
    EXPECT_TRUE(resumes());
    const SslPtr took = atLaptop->NewClient(phone.networkId);  // the only ticket, offered and lost
    EXPECT_FALSE(resumes());
    atLaptop->Forget(phone.networkId);
    EXPECT_FALSE(resumes());
}

TEST_F(TlsContextTest, ACertificateThatExpiredSinceIsRefusedOnResumption)
{
    const std::time_t end = std::time(nullptr) + 2;
    const Context brief = ContextOf(WithExpiry(devices.Load("phone"), accountKey.get(), end));
    ASSERT_TRUE(Connect(atLaptop, brief, phone.networkId).done);
    ASSERT_TRUE(Connect(brief, atLaptop, laptop.networkId).done);
    while (std::time(nullptr) <= end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }

    const Connection toBrief = Connect(atLaptop, brief, phone.networkId);
    ASSERT_EQ(SSL_session_reused(toBrief.client.get()), 1);
    const auto server = atLaptop->VerifiedPeer(toBrief.client.get());
    ASSERT_FALSE(server);
    EXPECT_EQ(server.Message(), "certificate has expired");
    EXPECT_TRUE(brief->VerifiedPeer(toBrief.server.get()));

    const Connection fromBrief = Connect(brief, atLaptop, laptop.networkId);
    ASSERT_EQ(SSL_session_reused(fromBrief.server.get()), 1);
    EXPECT_FALSE(atLaptop->VerifiedPeer(fromBrief.server.get()));
}

}  // namespace
}  // namespace Vexo::Trust::Tests
