#include "platform/trust/hmac.h"

#include <openssl/core_names.h>
#include <openssl/params.h>

#include <array>

#include "platform/trust/openssl_util.h"

namespace Vexo::Trust {

namespace {

constexpr size_t SHA256_BYTES = 32;

}  // namespace

Hmac::Hmac(const LinkKey& linkKey, std::string_view purpose)
{
    const SecretBytes key = DeriveKey(linkKey, purpose);
    const std::unique_ptr<EVP_MAC, MacDeleter> mac(EVP_MAC_fetch(nullptr, OSSL_MAC_NAME_HMAC, nullptr));
    keyed_.reset(mac ? EVP_MAC_CTX_new(mac.get()) : nullptr);
    std::string digest = "SHA256";
    const OSSL_PARAM parameters[] = {OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_DIGEST, digest.data(), 0),
                                     OSSL_PARAM_construct_end()};
    if (keyed_ && EVP_MAC_init(keyed_.get(), key.data(), key.size(), parameters) != 1) {
        keyed_.reset();
    }
}

std::string Hmac::Compute(std::initializer_list<std::string_view> parts) const
{
    const std::unique_ptr<EVP_MAC_CTX, MacDeleter> context(EVP_MAC_CTX_dup(keyed_.get()));
    for (const std::string_view part : parts) {
        const auto* const bytes = reinterpret_cast<const unsigned char*>(part.data());
        if (!context || EVP_MAC_update(context.get(), bytes, part.size()) != 1) {
            return {};
        }
    }
    std::array<unsigned char, SHA256_BYTES> hash{};
    size_t length = 0;
    if (!context || EVP_MAC_final(context.get(), hash.data(), &length, hash.size()) != 1) {
        return {};
    }
    return {hash.begin(), hash.end()};
}

LinkHmacs::LinkHmacs(const LinkKeys& keys, std::string_view purpose, const Clock& clock)
    : current_(keys.current, purpose), clock_(&clock)
{
    if (keys.previous) {
        previous_.emplace(keys.previous->key, purpose);
        previousUntil_ = keys.previous->validUntil;
    }
}

Result<LinkHmacs> LinkHmacs::Make(const LinkKeys& keys, std::string_view purpose, const Clock& clock)
{
    LinkHmacs made(keys, purpose, clock);
    if (!made.current_ || (made.previous_ && !*made.previous_)) {
        return Fail(ErrorCode::SYSTEM, "cannot prepare the key for " + std::string(purpose) + ": " + OpenSslReason());
    }
    return made;
}

}  // namespace Vexo::Trust
