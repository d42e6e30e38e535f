// TlsContext: TLS 1.3 (RFC 8446) with devices of the same account only. Both sides present a certificate, which must be
// signed by the account's key and valid now. A session may be resumed with the same peer, by a TLS session ticket; the
// validity of the peer's and the account's certificates is then checked again. Immutable after creation except for the
// cache of session tickets, which has its own lock; any thread.
#pragma once

#include <openssl/ssl.h>

#include <memory>
#include <string>

#include "platform/base/nocopyable.h"
#include "platform/base/result.h"
#include "platform/trust/identity.h"
#include "platform/trust/ticket.h"

namespace Vexo::Trust {

// The id that VerifiedPeer returns for a peer that proved an enrolment ticket (ticket.h), which does not say whose
// device the peer is.
inline constexpr const char* TICKET_PEER = "0000000000000000000000000000000000000000000000000000000000000000";

struct SslDeleter {
    void operator()(SSL* ssl) const noexcept { SSL_free(ssl); }
};
using SslPtr = std::unique_ptr<SSL, SslDeleter>;

class TlsContext : public NoCopyable {
public:
    // The identity must be enrolled (else NOT_FOUND). The context keeps its own references to the key and the
    // certificates. It must outlive the TLS objects that it creates.
    [[nodiscard]] static Result<std::shared_ptr<TlsContext>> Make(const Identity& identity);
    // For the links of an enrolment by ticket. Both sides prove the ticket's secret, as a pre-shared key with an
    // ephemeral key exchange (RFC 8446, 2.2). Neither side has a certificate. Sessions cannot be resumed.
    [[nodiscard]] static Result<std::shared_ptr<TlsContext>> MakeForTicket(const Ticket& ticket);
    virtual ~TlsContext() = default;

    // NewClient and NewServer return a TLS object for one connection; null only when memory is short. peerNetworkId:
    // the device that must answer (empty: any). NewClient offers the session ticket of an earlier connection to that
    // device.
    virtual SslPtr NewClient(const std::string& peerNetworkId) = 0;
    virtual SslPtr NewServer() = 0;

    // Call after the handshake, before any byte of the peer is used. Returns the verified peer's network id, or
    // TICKET_PEER for a peer that proved the enrolment ticket. Fails when the peer's certificate is missing, expired or
    // not of this account, or, for a client, when the peer is not the device that NewClient named.
    [[nodiscard]] virtual Result<std::string> VerifiedPeer(SSL* ssl) = 0;
    // Returns why a handshake failed, for a log line: "certificate not signed by this account", "certificate has
    // expired", "peer sent no certificate", else OpenSSL's reason. Call it right after the call that failed, on the
    // same thread.
    virtual std::string DescribeFailure(SSL* ssl) = 0;
    // Deletes the session ticket of a peer.
    virtual void Forget(const std::string& peerNetworkId) = 0;

protected:
    TlsContext() = default;
};

}  // namespace Vexo::Trust
