#include "platform/trust/tls_context.h"

#include <openssl/err.h>

#include <map>
#include <string_view>
#include <utility>

#include "platform/base/mutex.h"
#include "platform/trust/openssl_util.h"

namespace Vexo::Trust {

namespace {

constexpr const char* CIPHERS = "TLS_AES_128_GCM_SHA256:TLS_CHACHA20_POLY1305_SHA256:TLS_AES_256_GCM_SHA384";
constexpr const char* GROUPS = "X25519:P-256";
constexpr unsigned char SESSION_CONTEXT[] = "distnet-link";
constexpr size_t MAX_TICKETS = 256;  // the largest number of stored session tickets, one for each peer

constexpr const char* TICKET_CIPHER = "TLS_AES_128_GCM_SHA256";
constexpr unsigned char TICKET_CIPHER_ID[] = {0x13, 0x01};  // RFC 8446, B.4
constexpr std::string_view TICKET_IDENTITY = "distnet ticket";
constexpr const char* TICKET_PURPOSE = "distnet ticket tls";

struct ContextDeleter {
    void operator()(SSL_CTX* context) const noexcept { SSL_CTX_free(context); }
};
using ContextPtr = std::unique_ptr<SSL_CTX, ContextDeleter>;

struct SessionDeleter {
    void operator()(SSL_SESSION* session) const noexcept { SSL_SESSION_free(session); }
};
using SessionPtr = std::unique_ptr<SSL_SESSION, SessionDeleter>;

// The device that a client connection wants to reach. The SSL object stores this value as application data.
struct WantedPeer {
    std::string networkId;
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
    return context;
}

std::string PeerNetworkId(const SSL* ssl)
{
    const Certificate certificate(SSL_get1_peer_certificate(ssl));
    return certificate ? NetworkIdOf(X509_get0_pubkey(certificate.get())) : "";
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
        SSL_CTX_set_session_cache_mode(context->client_.get(), SSL_SESS_CACHE_CLIENT | SSL_SESS_CACHE_NO_INTERNAL);
        SSL_CTX_sess_set_new_cb(context->client_.get(), KeepTicket);
        // A session ticket contains the whole state of its session, so the server need not store sessions.
        SSL_CTX_set_session_cache_mode(context->server_.get(), SSL_SESS_CACHE_OFF);
        SSL_CTX_set_num_tickets(context->server_.get(), 1);
        return std::shared_ptr<TlsContext>(std::move(context));
    }

    SslPtr NewClient(const std::string& peerNetworkId) override
    {
        SslPtr ssl(SSL_new(client_.get()));
        if (!ssl) {
            return nullptr;
        }
        SSL_set_connect_state(ssl.get());
        auto wanted = std::make_unique<WantedPeer>(WantedPeer{peerNetworkId});
        if (SSL_set_ex_data(ssl.get(), WantedPeerIndex(), wanted.get()) != 1) {
            return nullptr;
        }
        (void)wanted.release();  // the SSL object owns it now
        if (const SessionPtr ticket = TakeTicket(peerNetworkId)) {
            SSL_set_session(ssl.get(), ticket.get());
        }
        return ssl;
    }

    SslPtr NewServer() override { return ServerOf(server_.get()); }

    Result<std::string> VerifiedPeer(SSL* ssl) override
    {
        const Certificate certificate(SSL_get1_peer_certificate(ssl));
        if (!certificate || SSL_get_verify_result(ssl) != X509_V_OK) {
            return Fail(ErrorCode::UNTRUSTED, "peer sent no certificate of this account");
        }
        // A full handshake with this context has checked the signature and the validity periods. Only the validity
        // periods are checked again here, because a session may be resumed after a certificate expired.
        if (SSL_session_reused(ssl) == 1) {
            if (auto valid = VerifyValidNow(certificate.get()); !valid) {
                return Failure(std::move(valid).error());
            }
            if (const auto valid = VerifyValidNow(account_.get()); !valid) {
                return Fail(valid.error().code, "the account's " + valid.error().message);
            }
        }
        std::string networkId = NetworkIdOf(X509_get0_pubkey(certificate.get()));
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

    void Forget(const std::string& peerNetworkId) override
    {
        const MutexLock lock(mutex_);
        tickets_.erase(peerNetworkId);
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
        SSL_CTX_set_app_data(context.get(), this);
        return context;
    }

    // OpenSSL calls this function when the server has sent a session ticket. The return value 1 means that this
    // function owns the session now.
    static int KeepTicket(SSL* ssl, SSL_SESSION* session)
    {
        auto* self = static_cast<OpenSslTlsContext*>(SSL_CTX_get_app_data(SSL_get_SSL_CTX(ssl)));
        const std::string networkId = PeerNetworkId(ssl);
        SessionPtr previous(session);  // destroyed after the mutex is released
        const MutexLock lock(self->mutex_);
        if (!networkId.empty() && (self->tickets_.size() < MAX_TICKETS || self->tickets_.contains(networkId))) {
            self->tickets_[networkId].swap(previous);
        }
        return 1;
    }

    // Removes the session ticket for a peer from the cache and returns it, or null when there is none. A ticket is used
    // only once (RFC 8446, appendix C.4). The resumed session brings the next ticket.
    SessionPtr TakeTicket(const std::string& networkId)
    {
        const MutexLock lock(mutex_);
        const auto it = tickets_.find(networkId);
        if (it == tickets_.end()) {
            return nullptr;
        }
        SessionPtr ticket = std::move(it->second);
        tickets_.erase(it);
        return ticket;
    }

    ContextPtr client_;
    ContextPtr server_;
    Certificate account_;
    Mutex mutex_;
    std::map<std::string, SessionPtr> tickets_ GUARDED_BY(mutex_);  // the key is the peer's network id
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
            SSL_CTX_set_session_cache_mode(each, SSL_SESS_CACHE_OFF);
        }
        SSL_CTX_set_psk_use_session_callback(context->client_.get(), OfferKey);
        SSL_CTX_set_psk_find_session_callback(context->server_.get(), FindKey);
        SSL_CTX_set_num_tickets(context->server_.get(), 0);
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

    // OpenSSL calls this function for the pre-shared key that a client offers. Returns 1 and a session, which OpenSSL
    // then owns. For a handshake without the pre-shared key, returns 1 and null.
    static int OfferKey(SSL* ssl, const EVP_MD* digest, const unsigned char** identity, size_t* identityBytes,
                        SSL_SESSION** session)
    {
        *session = nullptr;
        // If the server chose a cipher with a HelloRetryRequest, the parameter digest is the hash of that cipher.
        // Otherwise digest is null. The pre-shared key works with SHA-256 only.
        if (digest == nullptr || EVP_MD_get_type(digest) == NID_sha256) {
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
