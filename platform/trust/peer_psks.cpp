#include "platform/trust/peer_psks.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/objects.h>

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

namespace Vexo::Trust {

namespace {

constexpr std::string_view PSK_LABEL = "EXPORTER-distnet reopen";
constexpr size_t IDENTITY_BYTES = 16;
constexpr size_t KEY_BYTES = 32;

}  // namespace

std::optional<PeerPsk> DerivePsk(SSL* ssl)
{
    const SSL_CIPHER* const cipher = SSL_get_current_cipher(ssl);
    if (cipher == nullptr || EVP_MD_get_type(SSL_CIPHER_get_handshake_digest(cipher)) != NID_sha256) {
        return std::nullopt;
    }
    std::array<unsigned char, IDENTITY_BYTES + KEY_BYTES> derived{};
    // A copy, because the TLS connection continues to use its own session.
    SessionPtr session(SSL_SESSION_dup(SSL_get0_session(ssl)));
    const bool isDerived = session &&
                           SSL_export_keying_material(ssl, derived.data(), derived.size(), PSK_LABEL.data(),
                                                      PSK_LABEL.size(), nullptr, 0, 0) == 1 &&
                           SSL_SESSION_set1_master_key(session.get(), derived.data() + IDENTITY_BYTES, KEY_BYTES) == 1;
    PeerPsk psk{{derived.begin(), derived.begin() + IDENTITY_BYTES}, std::move(session)};
    OPENSSL_cleanse(derived.data(), derived.size());
    if (!isDerived) {
        return std::nullopt;
    }
    // PeerPsks checks the age of a PSK by the boot clock. OpenSSL's own check uses the wall clock, which can jump.
    SSL_SESSION_set_timeout(psk.session.get(), std::numeric_limits<int>::max());
    return psk;
}

void PeerPsks::Add(const std::string& networkId, PeerPsk psk)
{
    const MutexLock lock(mutex_);
    DeleteExpired();
    const auto isOfPeer = [&](const Entry& entry) { return entry.networkId == networkId; };
    if (std::count_if(entries_.begin(), entries_.end(), isOfPeer) >= static_cast<std::ptrdiff_t>(MAX_PER_PEER)) {
        entries_.erase(std::find_if(entries_.begin(), entries_.end(), isOfPeer));
    } else if (entries_.size() >= MAX_PSKS) {
        entries_.pop_front();
    }
    entries_.push_back({networkId, std::move(psk), clock_.BootNow() + LIFETIME});
}

std::optional<PeerPsk> PeerPsks::TakeNewestFor(std::string_view networkId)
{
    const MutexLock lock(mutex_);
    DeleteExpired();
    const auto newest = std::find_if(entries_.rbegin(), entries_.rend(),
                                     [&](const Entry& entry) { return entry.networkId == networkId; });
    if (newest == entries_.rend()) {
        return std::nullopt;
    }
    PeerPsk psk = std::move(newest->psk);
    entries_.erase(std::next(newest).base());
    return psk;
}

SessionPtr PeerPsks::Take(std::string_view identity)
{
    const MutexLock lock(mutex_);
    DeleteExpired();
    const auto found = std::find_if(entries_.begin(), entries_.end(),
                                    [&](const Entry& entry) { return entry.psk.identity == identity; });
    if (found == entries_.end()) {
        return nullptr;
    }
    SessionPtr session = std::move(found->psk.session);
    entries_.erase(found);
    return session;
}

void PeerPsks::Forget(std::string_view networkId)
{
    const MutexLock lock(mutex_);
    std::erase_if(entries_, [&](const Entry& entry) { return entry.networkId == networkId; });
}

void PeerPsks::DeleteExpired()
{
    const SteadyTime now = clock_.BootNow();
    while (!entries_.empty() && entries_.front().expiry <= now) {
        entries_.pop_front();
    }
}

}  // namespace Vexo::Trust
