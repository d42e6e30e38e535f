// Preamble: the check, before TLS, that the client of a new connection belongs to the account. The server sends a
// challenge of 16 random bytes. The client answers with a proof and with its first TLS record, which contains its
// ClientHello (RFC 8446, 4.1.2). This record is called the first message. The proof is the HMAC-SHA256 (RFC 2104) of
// the challenge and the first message. The HMAC's key is derived from the account's link key (link_key.h). A client
// that does not know the link key therefore receives only 16 random bytes, and the server computes only one hash for
// each valid link key. A proof is valid for one connection and one TLS key share only. docs/link.md describes the
// format. Any thread may call the functions. No call blocks.
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

// The key with which a client computed its proof: one of the account's two link keys, or the key of an enrolment ticket
// (ticket.h).
enum class ProvenKey { CURRENT, PREVIOUS, TICKET };

class Preamble : public NoCopyable {
public:
    // Returns an object that accepts proofs made with the current link key. The object also accepts proofs made with
    // the previous link key while that key is valid by the clock.
    // clock: must outlive the object.
    [[nodiscard]] static Result<std::shared_ptr<const Preamble>> Make(const LinkKeys& keys,
                                                                      const Clock& clock = Clock::System());
    virtual ~Preamble() = default;

    // Returns CHALLENGE_BYTES random bytes. Returns an error when the system has no random bytes.
    [[nodiscard]] static Result<std::string> MakeChallenge();
    // Returns a proof computed with the current link key. Returns an empty string only when memory is short.
    virtual std::string Prove(std::string_view challenge, std::string_view firstMessage) const = 0;
    // Returns a proof computed with the previous link key. Returns an empty string when there is no previous key, when
    // that key is no longer valid, or when memory is short.
    virtual std::string ProveWithPrevious(std::string_view challenge, std::string_view firstMessage) const = 0;
    // Returns true if there is a previous link key that is still valid.
    virtual bool HasPrevious() const = 0;
    // Returns the key with which the proof was computed: CURRENT or PREVIOUS. Returns nullopt when the proof is wrong.
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
