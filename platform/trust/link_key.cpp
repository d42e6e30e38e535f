#include "platform/trust/link_key.h"

#include <openssl/core_names.h>
#include <openssl/crypto.h>
#include <openssl/kdf.h>
#include <openssl/params.h>
#include <openssl/rand.h>

#include "platform/base/check.h"
#include "platform/base/hex.h"
#include "platform/trust/openssl_util.h"

namespace Vexo::Trust {

namespace {

constexpr size_t FINGERPRINT_CHARACTERS = 8;
constexpr std::string_view FINGERPRINT_PURPOSE = "distnet fingerprint";

}  // namespace

SecretBytes::~SecretBytes()
{
    OPENSSL_cleanse(data(), size());
}

Result<LinkKey> GenerateLinkKey(uint32_t number)
{
    LinkKey key{number};
    if (RAND_priv_bytes(key.bytes.data(), static_cast<int>(key.bytes.size())) != 1) {
        return Fail(ErrorCode::SYSTEM, "no random bytes for a link key: " + OpenSslReason());
    }
    return key;
}

SecretBytes DeriveKey(const LinkKey& key, std::string_view purpose)
{
    return DeriveKey({reinterpret_cast<const char*>(key.bytes.data()), key.bytes.size()}, purpose);
}

SecretBytes DeriveKey(std::string_view secret, std::string_view purpose)
{
    std::string digest = "SHA256";
    std::string info(purpose);
    const std::array<OSSL_PARAM, 4> parameters{
        OSSL_PARAM_construct_utf8_string(OSSL_KDF_PARAM_DIGEST, digest.data(), 0),
        // The const_cast is safe: OpenSSL's function takes a pointer to non-const data but does not write to the data.
        OSSL_PARAM_construct_octet_string(OSSL_KDF_PARAM_KEY, const_cast<char*>(secret.data()), secret.size()),
        OSSL_PARAM_construct_octet_string(OSSL_KDF_PARAM_INFO, info.data(), info.size()),
        OSSL_PARAM_construct_end(),
    };
    const OpenSslPtr<EVP_KDF> hkdf(EVP_KDF_fetch(nullptr, OSSL_KDF_NAME_HKDF, nullptr));
    const OpenSslPtr<EVP_KDF_CTX> context(EVP_KDF_CTX_new(hkdf.get()));
    SecretBytes derived{};
    // Stop the program when the derivation fails, because the derived key would consist of zeros, which anyone can
    // guess.
    DISTNET_CHECK(context && EVP_KDF_derive(context.get(), derived.data(), derived.size(), parameters.data()) == 1,
                  "HKDF with SHA-256 is part of OpenSSL's default provider");
    return derived;
}

std::string FingerprintOf(const LinkKey& key)
{
    return HexOf(DeriveKey(key, FINGERPRINT_PURPOSE)).substr(0, FINGERPRINT_CHARACTERS);
}

}  // namespace Vexo::Trust
