// TlsContext: how this device speaks TLS 1.3 (RFC 8446) with devices of its account, and with nobody else: both sides
// present a certificate, and a certificate counts only if this account's key signed it and it is valid now. A session
// may be resumed by ticket with the peer it was made with; the peer's and the account's validity are checked again
// then. Immutable after creation but for its session cache, which locks itself; any thread.
#pragma once

#include <openssl/ssl.h>

#include <memory>
#include <string>

#include "platform/base/nocopyable.h"
#include "platform/base/result.h"
#include "platform/trust/identity.h"
#include "platform/trust/ticket.h"

namespace Vexo::Trust {

// Who VerifiedPeer says is at the other end of a link under a ticket: the ticket says nothing about who has it.
inline constexpr const char* TICKET_PEER = "0000000000000000000000000000000000000000000000000000000000000000";

struct SslDeleter {
    void operator()(SSL* ssl) const noexcept { SSL_free(ssl); }
};
using SslPtr = std::unique_ptr<SSL, SslDeleter>;

class TlsContext : public NoCopyable {
public:
    // The identity must be enrolled. Keeps its own references to key and certificates. It must outlive the TLS objects
    // that it makes.
    [[nodiscard]] static Result<std::shared_ptr<TlsContext>> Make(const Identity& identity);
    // For the links of an enrolment by ticket: both sides prove the ticket's secret, as a pre-shared key with an
    // ephemeral exchange (RFC 8446, 2.2), and no side has a certificate to show. Nothing can be resumed.
    [[nodiscard]] static Result<std::shared_ptr<TlsContext>> MakeForTicket(const Ticket& ticket);
    virtual ~TlsContext() = default;

    // A TLS object for one connection; null only when memory is short. For a client, peerNetworkId is the device that
    // must answer (empty: any), and the ticket of an earlier session with it is offered.
    virtual SslPtr NewClient(const std::string& peerNetworkId) = 0;
    virtual SslPtr NewServer() = 0;

    // After the handshake: the verified peer's network id; an error when its certificate is missing, not of this
    // account, expired, or (client) not the device that was asked for; TICKET_PEER for one that proved the ticket. Must
    // succeed before a byte of the peer is used.
    [[nodiscard]] virtual Result<std::string> VerifiedPeer(SSL* ssl) = 0;
    // Why a handshake failed, for a log line: "certificate not signed by this account", "certificate has expired",
    // "peer sent no certificate", else OpenSSL's reason. Call it on the thread and right after the call that failed.
    virtual std::string DescribeFailure(SSL* ssl) = 0;
    // Forgets the tickets of a peer.
    virtual void Forget(const std::string& peerNetworkId) = 0;

protected:
    TlsContext() = default;
};

}  // namespace Vexo::Trust
