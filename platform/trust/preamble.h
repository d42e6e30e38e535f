// Preamble: how a server checks, before TLS, that the client of a new connection belongs to the account. The server
// sends a challenge, 16 random bytes. The client answers with a proof, HMAC-SHA256 (RFC 2104) over challenge and first
// message under the preamble key, and with that message: the TLS record that holds its ClientHello (RFC 8446, 4.1.2).
// So a stranger gets 16 random bytes and costs one hash, and a proof fits no other connection and no other key share.
// The preamble key is derived from the account's link key (link_key.h). Bytes: docs/link.md. Any thread. No call
// blocks.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "platform/base/clock.h"
#include "platform/base/nocopyable.h"
#include "platform/base/result.h"
#include "platform/trust/link_key.h"

namespace Vexo::Trust {

inline constexpr size_t CHALLENGE_BYTES = 16;
inline constexpr size_t PROOF_BYTES = 32;

class Preamble : public NoCopyable {
public:
    // Proves with the current key; accepts the previous one too while it is valid by the clock.
    [[nodiscard]] static Result<std::shared_ptr<const Preamble>> Make(const LinkKeys& keys,
                                                                      const Clock& clock = Clock::System());
    virtual ~Preamble() = default;

    // Random bytes; an error when the system has none.
    [[nodiscard]] static Result<std::string> MakeChallenge();
    // Empty only when memory is short.
    virtual std::string Prove(std::string_view challenge, std::string_view firstMessage) const = 0;
    virtual bool IsProof(std::string_view proof, std::string_view challenge, std::string_view firstMessage) const = 0;

protected:
    Preamble() = default;
};

}  // namespace Vexo::Trust
