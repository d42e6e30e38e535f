#include "platform/trust/preamble.h"

#include <openssl/core_names.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/params.h>
#include <openssl/rand.h>

#include <array>

#include "platform/trust/openssl_util.h"

namespace Vexo::Trust {

namespace {

constexpr const char* PURPOSE = "distnet preamble";

struct MacDeleter {
    void operator()(EVP_MAC* mac) const noexcept { EVP_MAC_free(mac); }
    void operator()(EVP_MAC_CTX* context) const noexcept { EVP_MAC_CTX_free(context); }
};
using MacContext = std::unique_ptr<EVP_MAC_CTX, MacDeleter>;

// A context that holds the key, to be copied for each proof: fetching the algorithm each time would cost more than the
// hash itself.
MacContext KeyedContext(const LinkKey& linkKey)
{
    const SecretBytes key = DeriveKey(linkKey, PURPOSE);
    const std::unique_ptr<EVP_MAC, MacDeleter> mac(EVP_MAC_fetch(nullptr, OSSL_MAC_NAME_HMAC, nullptr));
    MacContext context(mac ? EVP_MAC_CTX_new(mac.get()) : nullptr);
    std::string digest = "SHA256";
    const OSSL_PARAM parameters[] = {OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_DIGEST, digest.data(), 0),
                                     OSSL_PARAM_construct_end()};
    if (context && EVP_MAC_init(context.get(), key.data(), key.size(), parameters) != 1) {
        context.reset();
    }
    return context;
}

std::string Proof(const EVP_MAC_CTX* keyed, std::string_view challenge, std::string_view firstMessage)
{
    const MacContext context(EVP_MAC_CTX_dup(keyed));
    std::array<unsigned char, PROOF_BYTES> proof{};
    size_t length = 0;
    const auto bytes = [](std::string_view text) { return reinterpret_cast<const unsigned char*>(text.data()); };
    if (!context || EVP_MAC_update(context.get(), bytes(challenge), challenge.size()) != 1 ||
        EVP_MAC_update(context.get(), bytes(firstMessage), firstMessage.size()) != 1 ||
        EVP_MAC_final(context.get(), proof.data(), &length, proof.size()) != 1) {
        return {};
    }
    return {proof.begin(), proof.end()};
}

class HmacPreamble final : public Preamble {
public:
    HmacPreamble(MacContext current, MacContext previous, WallTime previousUntil, const Clock& clock)
        : current_(std::move(current)), previous_(std::move(previous)), previousUntil_(previousUntil), clock_(clock)
    {
    }

    std::string Prove(std::string_view challenge, std::string_view firstMessage) const override
    {
        return Proof(current_.get(), challenge, firstMessage);
    }

    bool IsProof(std::string_view proof, std::string_view challenge, std::string_view firstMessage) const override
    {
        const auto isMadeWith = [&](const MacContext& keyed) {
            const std::string right = Proof(keyed.get(), challenge, firstMessage);
            return right.size() == proof.size() && CRYPTO_memcmp(right.data(), proof.data(), proof.size()) == 0;
        };
        return proof.size() == PROOF_BYTES &&
               (isMadeWith(current_) || (previous_ && clock_.WallNow() < previousUntil_ && isMadeWith(previous_)));
    }

private:
    const MacContext current_;
    const MacContext previous_;  // null when there is none
    const WallTime previousUntil_;
    const Clock& clock_;
};

}  // namespace

Result<std::shared_ptr<const Preamble>> Preamble::Make(const LinkKeys& keys, const Clock& clock)
{
    MacContext current = KeyedContext(keys.current);
    MacContext previous = keys.previous ? KeyedContext(keys.previous->key) : nullptr;
    if (!current || (keys.previous && !previous)) {
        return Fail(ErrorCode::SYSTEM, "cannot prepare the proofs of the link: " + OpenSslReason());
    }
    return std::make_shared<const HmacPreamble>(std::move(current), std::move(previous),
                                                keys.previous ? keys.previous->validUntil : WallTime(), clock);
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
