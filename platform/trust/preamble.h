// Preamble: how a server checks, before TLS, that the client of a new connection belongs to the account. The server
// sends a challenge, 16 random bytes. The client answers with two things: a proof, and its first message, which is the
// TLS record that contains its ClientHello (RFC 8446, 4.1.2). The proof is the HMAC-SHA256 (RFC 2104) of challenge and
// first message under the preamble key, which is derived from the account's link key (link_key.h). So a stranger
// receives 16 random bytes and costs the server only a hash for each valid link key. A proof is valid for one
// connection and one key share only. Format: docs/link.md. Any thread. No call blocks.
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
    // The object accepts proofs of the current link key, and of the previous one while that is valid by the clock.
    // clock must outlive the object.
    [[nodiscard]] static Result<std::shared_ptr<const Preamble>> Make(const LinkKeys& keys,
                                                                      const Clock& clock = Clock::System());
    virtual ~Preamble() = default;

    // Returns CHALLENGE_BYTES random bytes. Fails when the system has none.
    [[nodiscard]] static Result<std::string> MakeChallenge();
    // Returns a proof of the current key. Empty only when memory is short.
    virtual std::string Prove(std::string_view challenge, std::string_view firstMessage) const = 0;
    // Returns a proof of the previous key. Empty when there is none, when it is no longer valid, or when memory is
    // short.
    virtual std::string ProveWithPrevious(std::string_view challenge, std::string_view firstMessage) const = 0;
    // Whether there is a previous key that is still valid.
    virtual bool HasPrevious() const = 0;
    // Returns the key that the proof was made with, CURRENT or PREVIOUS; nullopt when the proof is wrong.
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
