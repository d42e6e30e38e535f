#include "platform/trust/preamble.h"

#include <openssl/crypto.h>
#include <openssl/rand.h>

#include <utility>

#include "platform/trust/hmac.h"
#include "platform/trust/openssl_util.h"

namespace Vexo::Trust {

namespace {

constexpr const char* PURPOSE = "distnet preamble";

class HmacPreamble final : public Preamble {
public:
    explicit HmacPreamble(LinkHmacs hmacs) : hmacs_(std::move(hmacs)) {}

    std::string Prove(std::string_view challenge, std::string_view firstMessage) const override
    {
        return hmacs_.Current().Compute({challenge, firstMessage});
    }

    std::string ProveWithPrevious(std::string_view challenge, std::string_view firstMessage) const override
    {
        const Hmac* const previous = hmacs_.Previous();
        return previous != nullptr ? previous->Compute({challenge, firstMessage}) : "";
    }

    bool HasPrevious() const override { return hmacs_.Previous() != nullptr; }

    std::optional<ProvenKey> KeyOfProof(std::string_view proof, std::string_view challenge,
                                        std::string_view firstMessage) const override
    {
        const auto isMadeWith = [&](const Hmac& hmac) {
            const std::string right = hmac.Compute({challenge, firstMessage});
            return right.size() == proof.size() && CRYPTO_memcmp(right.data(), proof.data(), proof.size()) == 0;
        };
        if (proof.size() != PROOF_BYTES) {
            return std::nullopt;
        }
        if (isMadeWith(hmacs_.Current())) {
            return ProvenKey::CURRENT;
        }
        const Hmac* const previous = hmacs_.Previous();
        return previous != nullptr && isMadeWith(*previous) ? std::optional(ProvenKey::PREVIOUS) : std::nullopt;
    }

private:
    const LinkHmacs hmacs_;
};

}  // namespace

Result<std::shared_ptr<const Preamble>> Preamble::Make(const LinkKeys& keys, const Clock& clock)
{
    Result<LinkHmacs> hmacs = LinkHmacs::Make(keys, PURPOSE, clock);
    if (!hmacs) {
        return Failure(std::move(hmacs).error());
    }
    return std::make_shared<const HmacPreamble>(std::move(hmacs.value()));
}

Result<std::string> Preamble::MakeChallenge()
{
    std::string challenge(CHALLENGE_BYTES, '\0');
    if (RAND_bytes(reinterpret_cast<unsigned char*>(challenge.data()), CHALLENGE_BYTES) != 1) {
        return Fail(ErrorCode::SYSTEM, "no random bytes: " + OpenSslReason());
    }
    return challenge;
}

}  // namespace Vexo::Trust
