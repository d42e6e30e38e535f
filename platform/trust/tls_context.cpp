#include "platform/trust/tls_context.h"

#include <openssl/err.h>

#include <optional>
#include <string_view>
#include <utility>

#include "platform/trust/openssl_util.h"
#include "platform/trust/peer_psks.h"

namespace Vexo::Trust {

namespace {

constexpr const char* CIPHERS = "TLS_AES_128_GCM_SHA256:TLS_CHACHA20_POLY1305_SHA256:TLS_AES_256_GCM_SHA384";
constexpr const char* GROUPS = "X25519:P-256";
constexpr unsigned char SESSION_CONTEXT[] = "distnet-link";

constexpr const char* TICKET_CIPHER = "TLS_AES_128_GCM_SHA256";
constexpr unsigned char TICKET_CIPHER_ID[] = {0x13, 0x01};  // RFC 8446, B.4
constexpr std::string_view TICKET_IDENTITY = "distnet ticket";
constexpr const char* TICKET_PURPOSE = "distnet ticket tls";

struct ContextDeleter {
    void operator()(SSL_CTX* context) const noexcept { SSL_CTX_free(context); }
};
using ContextPtr = std::unique_ptr<SSL_CTX, ContextDeleter>;

// The device that a client connection wants to reach. The SSL object stores this value as application data.
struct WantedPeer {
    std::string networkId;
    std::optional<PeerPsk> psk = {};
};

void FreeWantedPeer(void* /*parent*/, void* peer, CRYPTO_EX_DATA* /*data*/, int /*index*/, long /*number*/,
                    void* /*argument*/)
{
    const std::unique_ptr<WantedPeer> owned(static_cast<WantedPeer*>(peer));
}

int WantedPeerIndex()
{
    static const int index = SSL_get_ex_new_index(0, nullptr, nullptr, nullptr, FreeWantedPeer);
    return index;
}

// Creates an OpenSSL context with the settings of all connections: TLS 1.3, the groups of the key exchange, and the
// write modes. Returns null on failure; OpenSslReason then returns the cause.
ContextPtr MakeContext(const SSL_METHOD* method, const char* ciphers)
{
    ContextPtr context(SSL_CTX_new(method));
    if (!context || SSL_CTX_set_min_proto_version(context.get(), TLS1_3_VERSION) != 1 ||
        SSL_CTX_set_ciphersuites(context.get(), ciphers) != 1 || SSL_CTX_set1_groups_list(context.get(), GROUPS) != 1 ||
        SSL_CTX_set_session_id_context(context.get(), SESSION_CONTEXT, sizeof(SESSION_CONTEXT) - 1) != 1) {
        return nullptr;
    }
    SSL_CTX_set_verify(context.get(), SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT, nullptr);
    SSL_CTX_set_mode(context.get(),
                     SSL_MODE_RELEASE_BUFFERS | SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
    SSL_CTX_set_options(context.get(), SSL_OP_NO_COMPRESSION);
    SSL_CTX_set_session_cache_mode(context.get(), SSL_SESS_CACHE_OFF);
    SSL_CTX_set_num_tickets(context.get(), 0);
    return context;
}

// Returns true if the client may offer its pre-shared key, which works with SHA-256 only. digest: the hash of the
// cipher that the server chose with a HelloRetryRequest, else null.
bool IsUsableWith(const EVP_MD* digest)
{
    return digest == nullptr || EVP_MD_get_type(digest) == NID_sha256;
}

SslPtr ServerOf(SSL_CTX* context)
{
    SslPtr ssl(SSL_new(context));
    if (ssl) {
        SSL_set_accept_state(ssl.get());
    }
    return ssl;
}

class OpenSslTlsContext final : public TlsContext {
public:
    static Result<std::shared_ptr<TlsContext>> Make(const Identity& identity)
    {
        if (!identity.Enrolled()) {
            return Fail(ErrorCode::NOT_FOUND, "this device is not enrolled in an account");
        }
        auto context = std::make_shared<OpenSslTlsContext>();
        context->client_ = context->ContextOf(TLS_client_method(), identity);
        context->server_ = context->ContextOf(TLS_server_method(), identity);
        context->account_.reset(X509_dup(identity.accountCertificate.get()));
        if (!context->client_ || !context->server_ || !context->account_) {
            return Fail(ErrorCode::SYSTEM, "TLS could not be set up: " + OpenSslReason());
        }
        SSL_CTX_set_psk_use_session_callback(context->client_.get(), OfferPsk);
        SSL_CTX_set_psk_find_session_callback(context->server_.get(), FindPsk);
        return std::shared_ptr<TlsContext>(std::move(context));
    }

    SslPtr NewClient(const std::string& peerNetworkId) override
    {
        SslPtr ssl(SSL_new(client_.get()));
        if (!ssl) {
            return nullptr;
        }
        SSL_set_connect_state(ssl.get());
        auto wanted = std::make_unique<WantedPeer>(WantedPeer{peerNetworkId, offered_.TakeNewestFor(peerNetworkId)});
        if (SSL_set_ex_data(ssl.get(), WantedPeerIndex(), wanted.get()) != 1) {
            return nullptr;
        }
        (void)wanted.release();  // the SSL object owns it now
        return ssl;
    }

    SslPtr NewServer() override { return ServerOf(server_.get()); }

    Result<std::string> VerifiedPeer(SSL* ssl) override
    {
        const Certificate certificate(SSL_get1_peer_certificate(ssl));
        if (!certificate || SSL_get_verify_result(ssl) != X509_V_OK) {
            return Fail(ErrorCode::UNTRUSTED, "peer sent no certificate of this account");
        }
        // A handshake with certificates has checked the signature and the validity periods. OpenSSL reports a handshake
        // with a pre-shared key as a resumed session. Only the validity periods are checked again here, because the
        // certificates may have expired since the pre-shared key was stored.
        if (SSL_session_reused(ssl) == 1) {
            if (auto valid = VerifyValidNow(certificate.get()); !valid) {
                return Failure(std::move(valid).error());
            }
            if (const auto valid = VerifyValidNow(account_.get()); !valid) {
                return Fail(valid.error().code, "the account's " + valid.error().message);
            }
        }
        std::string networkId = NetworkIdOf(certificate.get());
        if (networkId.empty()) {
            return Fail(ErrorCode::SYSTEM, "peer's certificate has no usable key: " + OpenSslReason());
        }
        const auto* wanted = static_cast<const WantedPeer*>(SSL_get_ex_data(ssl, WantedPeerIndex()));
        if (wanted != nullptr && !wanted->networkId.empty() && wanted->networkId != networkId) {
            return Fail(ErrorCode::UNTRUSTED, "another device of the account answered");
        }
        return networkId;
    }

    std::string DescribeFailure(SSL* ssl) override
    {
        const long verified = SSL_get_verify_result(ssl);
        const unsigned long error = ERR_peek_last_error();
        const std::string reason = OpenSslReason();
        if (verified != X509_V_OK) {
            return VerifyErrorText(verified);
        }
        if (ERR_GET_REASON(error) == SSL_R_PEER_DID_NOT_RETURN_A_CERTIFICATE) {
            return "peer sent no certificate";
        }
        return error == 0 ? "the peer closed the connection" : reason;
    }

    void RememberPeer(SSL* ssl, const std::string& peerNetworkId) override
    {
        if (std::optional<PeerPsk> psk = DerivePsk(ssl)) {
            (SSL_is_server(ssl) == 1 ? accepted_ : offered_).Add(peerNetworkId, std::move(*psk));
        }
    }

    void Forget(const std::string& peerNetworkId) override
    {
        offered_.Forget(peerNetworkId);
        accepted_.Forget(peerNetworkId);
    }

private:
    ContextPtr ContextOf(const SSL_METHOD* method, const Identity& identity)
    {
        ContextPtr context = MakeContext(method, CIPHERS);
        if (!context || SSL_CTX_use_certificate(context.get(), identity.certificate.get()) != 1 ||
            SSL_CTX_use_PrivateKey(context.get(), identity.key.get()) != 1 ||
            X509_STORE_add_cert(SSL_CTX_get_cert_store(context.get()), identity.accountCertificate.get()) != 1) {
            return nullptr;
        }
        // Sends this device's certificate only. Without this mode, OpenSSL would verify that certificate in each
        // handshake to find the account's certificate, and would send both. Each peer has the account's certificate.
        SSL_CTX_set_mode(context.get(), SSL_MODE_NO_AUTO_CHAIN);
        SSL_CTX_set_app_data(context.get(), this);
        return context;
    }

    // On a client, OpenSSL calls OfferPsk to get the pre-shared key to offer. On a server, OpenSSL calls FindPsk to get
    // the key that the client offered. OpenSSL owns the returned session. Null: the handshake uses certificates.
    static int OfferPsk(SSL* ssl, const EVP_MD* digest, const unsigned char** identity, size_t* identityBytes,
                        SSL_SESSION** session)
    {
        const auto* wanted = static_cast<const WantedPeer*>(SSL_get_ex_data(ssl, WantedPeerIndex()));
        *session = nullptr;
        if (wanted != nullptr && wanted->psk && IsUsableWith(digest)) {
            *identity = reinterpret_cast<const unsigned char*>(wanted->psk->identity.data());
            *identityBytes = wanted->psk->identity.size();
            *session = SSL_SESSION_dup(wanted->psk->session.get());
        }
        return 1;
    }

    static int FindPsk(SSL* ssl, const unsigned char* identity, size_t identityBytes, SSL_SESSION** session)
    {
        auto* self = static_cast<OpenSslTlsContext*>(SSL_CTX_get_app_data(SSL_get_SSL_CTX(ssl)));
        *session = self->accepted_.Take({reinterpret_cast<const char*>(identity), identityBytes}).release();
        return 1;
    }

    ContextPtr client_;
    ContextPtr server_;
    Certificate account_;
    PeerPsks offered_;   // for connections that this device opens
    PeerPsks accepted_;  // for connections that a peer opens
};

class TicketTlsContext final : public TlsContext {
public:
    static Result<std::shared_ptr<TlsContext>> Make(const Ticket& ticket)
    {
        auto context = std::make_shared<TicketTlsContext>();
        context->client_ = MakeContext(TLS_client_method(), TICKET_CIPHER);
        context->server_ = MakeContext(TLS_server_method(), TICKET_CIPHER);
        const SslPtr any(context->client_ ? SSL_new(context->client_.get()) : nullptr);
        context->session_ = any ? SessionOf(ticket, any.get()) : nullptr;
        if (!context->server_ || !context->session_) {
            return Fail(ErrorCode::SYSTEM, "TLS under a ticket could not be set up: " + OpenSslReason());
        }
        for (SSL_CTX* const each : {context->client_.get(), context->server_.get()}) {
            SSL_CTX_set_app_data(each, context.get());  // with this pointer, OfferKey and FindKey find this object
        }
        SSL_CTX_set_psk_use_session_callback(context->client_.get(), OfferKey);
        SSL_CTX_set_psk_find_session_callback(context->server_.get(), FindKey);
        return std::shared_ptr<TlsContext>(std::move(context));
    }

    SslPtr NewClient(const std::string& /*peerNetworkId*/) override
    {
        SslPtr ssl(SSL_new(client_.get()));
        if (ssl) {
            SSL_set_connect_state(ssl.get());
        }
        return ssl;
    }

    SslPtr NewServer() override { return ServerOf(server_.get()); }

    Result<std::string> VerifiedPeer(SSL* ssl) override
    {
        // OpenSSL reports a handshake with a pre-shared key as a resumed session.
        if (SSL_is_init_finished(ssl) != 1 || SSL_session_reused(ssl) != 1) {
            return Fail(ErrorCode::UNTRUSTED, "peer did not prove the ticket");
        }
        return TICKET_PEER;
    }

    std::string DescribeFailure(SSL* /*ssl*/) override
    {
        const unsigned long error = ERR_peek_last_error();
        const std::string reason = OpenSslReason();
        return error == 0 ? "the peer closed the connection" : reason;
    }

    void RememberPeer(SSL* /*ssl*/, const std::string& /*peerNetworkId*/) override {}
    void Forget(const std::string& /*peerNetworkId*/) override {}

private:
    static SessionPtr SessionOf(const Ticket& ticket, SSL* ssl)
    {
        const SecretBytes key = DeriveKey(TicketKeys(ticket).current, TICKET_PURPOSE);
        const SSL_CIPHER* const cipher = SSL_CIPHER_find(ssl, TICKET_CIPHER_ID);
        SessionPtr session(SSL_SESSION_new());
        if (!session || cipher == nullptr || SSL_SESSION_set1_master_key(session.get(), key.data(), key.size()) != 1 ||
            SSL_SESSION_set_cipher(session.get(), cipher) != 1 ||
            SSL_SESSION_set1_id_context(session.get(), SESSION_CONTEXT, sizeof(SESSION_CONTEXT) - 1) != 1 ||
            SSL_SESSION_set_protocol_version(session.get(), TLS1_3_VERSION) != 1) {
            return nullptr;
        }
        return session;
    }

    // On a client, OpenSSL calls this function to get the pre-shared key to offer. Always returns 1. OpenSSL owns the
    // returned session. Null: the client offers no pre-shared key.
    static int OfferKey(SSL* ssl, const EVP_MD* digest, const unsigned char** identity, size_t* identityBytes,
                        SSL_SESSION** session)
    {
        *session = nullptr;
        if (IsUsableWith(digest)) {
            *identity = reinterpret_cast<const unsigned char*>(TICKET_IDENTITY.data());
            *identityBytes = TICKET_IDENTITY.size();
            *session = CopyOfKey(ssl);
        }
        return 1;
    }

    static int FindKey(SSL* ssl, const unsigned char* identity, size_t identityBytes, SSL_SESSION** session)
    {
        const std::string_view asked(reinterpret_cast<const char*>(identity), identityBytes);
        *session = asked == TICKET_IDENTITY ? CopyOfKey(ssl) : nullptr;
        return 1;
    }

    static SSL_SESSION* CopyOfKey(SSL* ssl)
    {
        const auto* self = static_cast<const TicketTlsContext*>(SSL_CTX_get_app_data(SSL_get_SSL_CTX(ssl)));
        return SSL_SESSION_dup(self->session_.get());
    }

    ContextPtr client_;
    ContextPtr server_;
    SessionPtr session_;  // contains the pre-shared key
};

}  // namespace

Result<std::shared_ptr<TlsContext>> TlsContext::Make(const Identity& identity)
{
    return OpenSslTlsContext::Make(identity);
}

Result<std::shared_ptr<TlsContext>> TlsContext::MakeForTicket(const Ticket& ticket)
{
    return TicketTlsContext::Make(ticket);
}

}  // namespace Vexo::Trust
