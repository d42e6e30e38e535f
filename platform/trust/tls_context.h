// TlsContext: TLS 1.3 (RFC 8446) with devices of the same account only (Make), or with a device that knows the same
// enrolment ticket (MakeForTicket). Devices of an account present certificates. Each certificate must be signed by the
// account's key and must be valid now. Two devices that have met may use a pre-shared key of an earlier connection
// instead (peer_psks.h). The validity periods of the peer's and the account's certificates are then checked again. A
// TlsContext does not change after its creation, except for the pre-shared keys. Thread-safe.
#pragma once

#include <openssl/ssl.h>

#include <memory>
#include <string>

#include "platform/base/nocopyable.h"
#include "platform/base/result.h"
#include "platform/trust/identity.h"
#include "platform/trust/ticket.h"

namespace Vexo::Trust {

// VerifiedPeer returns this id for a peer that proved that it knows an enrolment ticket (ticket.h). A ticket does not
// say which device the peer is.
inline constexpr const char* TICKET_PEER = "0000000000000000000000000000000000000000000000000000000000000000";

struct SslDeleter {
    void operator()(SSL* ssl) const noexcept { SSL_free(ssl); }
};
using SslPtr = std::unique_ptr<SSL, SslDeleter>;

class TlsContext : public NoCopyable {
public:
    // Returns a context for an enrolled identity, else NOT_FOUND. The context keeps its own references to the key and
    // the certificates. The context must outlive the TLS objects that it creates.
    [[nodiscard]] static Result<std::shared_ptr<TlsContext>> Make(const Identity& identity);
    // Returns a context for the connection over which a device joins an account by ticket. Both sides prove that they
    // know the ticket's secret: they use a pre-shared key that is derived from the secret, with an ephemeral key
    // exchange (RFC 8446, 2.2). Neither side presents a certificate. RememberPeer does nothing.
    [[nodiscard]] static Result<std::shared_ptr<TlsContext>> MakeForTicket(const Ticket& ticket);
    virtual ~TlsContext() = default;

    // NewClient and NewServer return a TLS object for one connection, or null only when memory is short. NewClient
    // offers a pre-shared key of an earlier connection to the same device, if there is one.
    // peerNetworkId: the device that must answer. Empty: any device may answer.
    virtual SslPtr NewClient(const std::string& peerNetworkId) = 0;
    virtual SslPtr NewServer() = 0;

    // Call this function after the TLS handshake and before you use any byte from the peer. Returns the verified peer's
    // network id, or TICKET_PEER for a peer that proved the enrolment ticket. Returns an error when the peer's
    // certificate is missing, expired or not of this account. On a client, returns an error also when the peer is not
    // the device that the caller named in NewClient.
    [[nodiscard]] virtual Result<std::string> VerifiedPeer(SSL* ssl) = 0;
    // Returns the reason why a TLS handshake failed, for a log line, such as "peer sent no certificate", or OpenSSL's
    // reason. Call this function right after the call that failed, on the same thread.
    virtual std::string DescribeFailure(SSL* ssl) = 0;
    // Stores a pre-shared key for the next connection with that peer in the same direction. Call this function on both
    // ends, after VerifiedPeer and only if the peer may connect again.
    virtual void RememberPeer(SSL* ssl, const std::string& peerNetworkId) = 0;
    // Deletes the pre-shared keys for that peer.
    virtual void Forget(const std::string& peerNetworkId) = 0;

protected:
    TlsContext() = default;
};

}  // namespace Vexo::Trust
