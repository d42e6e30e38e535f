// Preamble: how a server checks, before TLS, that the client of a new connection belongs to the account. The server
// sends a challenge, 16 random bytes. The client answers with a proof, HMAC-SHA256 (RFC 2104) over challenge and first
// message under the preamble key, and with that message: the TLS record that holds its ClientHello (RFC 8446, 4.1.2).
// So a stranger gets 16 random bytes and costs one hash, and a proof fits no other connection and no other key share.
// The preamble key is derived from the account's link key (link_key.h). Bytes: docs/link.md. Any thread. No call
// blocks.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/base/clock.h"
#include "platform/base/nocopyable.h"
#include "platform/base/result.h"
#include "platform/trust/link_key.h"

namespace Vexo::Trust {

inline constexpr size_t CHALLENGE_BYTES = 16;
inline constexpr size_t PROOF_BYTES = 32;

// The key that a proof was made with: one of the account's link keys, or the key of a ticket (ticket.h).
enum class ProvenKey { CURRENT, PREVIOUS, TICKET };

class Preamble : public NoCopyable {
public:
    // Accepts proofs of the current key, and of the previous one while it is valid by the clock.
    [[nodiscard]] static Result<std::shared_ptr<const Preamble>> Make(const LinkKeys& keys,
                                                                      const Clock& clock = Clock::System());
    virtual ~Preamble() = default;

    // Random bytes; an error when the system has none.
    [[nodiscard]] static Result<std::string> MakeChallenge();
    // With the current key. Empty only when memory is short.
    virtual std::string Prove(std::string_view challenge, std::string_view firstMessage) const = 0;
    // With the previous key. Empty when there is none, when it is no longer valid, or when memory is short.
    virtual std::string ProveWithPrevious(std::string_view challenge, std::string_view firstMessage) const = 0;
    // Whether ProveWithPrevious has a key now.
    virtual bool HasPrevious() const = 0;
    // CURRENT or PREVIOUS; nullopt when the proof is wrong.
    virtual std::optional<ProvenKey> KeyOfProof(std::string_view proof, std::string_view challenge,
                                                std::string_view firstMessage) const = 0;
    bool IsProof(std::string_view proof, std::string_view challenge, std::string_view firstMessage) const
    {
        return KeyOfProof(proof, challenge, firstMessage).has_value();
    }

protected:
    Preamble() = default;
};

}  // namespace Vexo::Trust
