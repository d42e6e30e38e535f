// PeerPsks: the pre-shared keys (PSK, RFC 8446, 2.2) that this device shares with devices that it has met. With a PSK,
// two devices open their next connection without certificates. Both ends of a TLS connection derive the same PSK from
// that connection. The client of the next connection offers the PSK, and the key exchange is still ephemeral. Each PSK
// is used once: TakeNewestFor (client) and Take (server) remove the PSK. The PSKs are kept in memory only. Thread-safe;
// no call blocks.
#pragma once

#include <openssl/ssl.h>

#include <chrono>
#include <cstddef>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/base/clock.h"
#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"

namespace Vexo::Trust {

struct SessionDeleter {
    void operator()(SSL_SESSION* session) const noexcept { SSL_SESSION_free(session); }
};
using SessionPtr = std::unique_ptr<SSL_SESSION, SessionDeleter>;

struct PeerPsk {
    // The PSK identity (RFC 8446, 4.2.11): 16 random bytes, which the client sends unencrypted.
    std::string identity;
    // Contains the PSK and the peer's certificate, which the handshake with the PSK does not send.
    SessionPtr session;
};

// Derives a PSK from a TLS 1.3 connection whose handshake is complete. Both ends get the same identity and the same key
// (RFC 8446, 7.5). Returns nothing if the connection's cipher does not use SHA-256, or if OpenSSL fails.
std::optional<PeerPsk> DerivePsk(SSL* ssl);

class PeerPsks : public NoCopyable {
public:
    // More than one, because connections that are opened at the same time need one PSK each.
    static constexpr size_t MAX_PER_PEER = 4;
    static constexpr size_t MAX_PSKS = 64;
    static constexpr std::chrono::hours LIFETIME{24};

    // clock: must outlive the object.
    explicit PeerPsks(const Clock& clock = Clock::System()) : clock_(clock) {}

    // Adds a PSK for connections with that peer. If the peer has MAX_PER_PEER PSKs already, deletes the oldest PSK of
    // that peer first. Otherwise, if there are MAX_PSKS already, deletes the oldest of all PSKs first.
    void Add(const std::string& networkId, PeerPsk psk);
    // Removes the newest PSK for that peer and returns it.
    std::optional<PeerPsk> TakeNewestFor(std::string_view networkId);
    // Removes the PSK with that identity and returns its session, or null if there is none.
    SessionPtr Take(std::string_view identity);
    // Deletes all PSKs for that peer.
    void Forget(std::string_view networkId);

private:
    struct Entry {
        std::string networkId;
        PeerPsk psk;
        SteadyTime expiry;  // of Clock::BootNow
    };

    void DeleteExpired() REQUIRES(mutex_);

    const Clock& clock_;
    Mutex mutex_;
    std::deque<Entry> entries_ GUARDED_BY(mutex_);  // the oldest first
};

}  // namespace Vexo::Trust
