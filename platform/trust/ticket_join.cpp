// What the two sides of an enrolment by ticket compute from what they exchange.
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>
#include <openssl/sha.h>

#include <array>

#include "platform/base/utf8.h"
#include "platform/trust/account.h"
#include "platform/trust/openssl_util.h"
#include "platform/trust/ticket.h"

namespace Vexo::Trust {

namespace {

constexpr uint64_t NUMBERS = 1'000'000;
constexpr size_t NUMBER_DIGITS = 6;

const unsigned char* BytesOf(std::string_view text)
{
    return reinterpret_cast<const unsigned char*>(text.data());
}

bool IsShowable(const std::string& name)
{
    return !name.empty() && name.size() <= MAX_ACCOUNT_NAME && IsUtf8(name) && EscapeHidden(name) == name;
}

}  // namespace

Result<std::string> MakeJoinNonce()
{
    std::string nonce(JOIN_NONCE_BYTES, '\0');
    if (RAND_bytes(reinterpret_cast<unsigned char*>(nonce.data()), static_cast<int>(nonce.size())) != 1) {
        return Fail(ErrorCode::SYSTEM, "no random bytes: " + OpenSslReason());
    }
    return nonce;
}

std::string JoinCommitment(std::string_view request)
{
    std::string hash(SHA256_DIGEST_LENGTH, '\0');
    auto* const out = reinterpret_cast<unsigned char*>(hash.data());
    return EVP_Digest(request.data(), request.size(), out, nullptr, EVP_sha256(), nullptr) == 1 ? hash : "";
}

std::string JoinNumber(const SecretBytes& exported, std::string_view holderNonce, std::string_view request)
{
    const std::string parts = std::string(holderNonce).append(request);
    std::array<unsigned char, SHA256_DIGEST_LENGTH> hash{};
    if (HMAC(EVP_sha256(), exported.data(), static_cast<int>(exported.size()), BytesOf(parts), parts.size(),
             hash.data(), nullptr) == nullptr) {
        return {};
    }
    uint64_t number = 0;
    for (size_t i = 0; i < sizeof(number); ++i) {
        number = number << 8U | hash[i];
    }
    const std::string digits = std::to_string(number % NUMBERS);
    return std::string(NUMBER_DIGITS - digits.size(), '0') + digits;
}

Result<std::string> RequestToDer(const std::string& pem)
{
    const OpenSslPtr<X509_REQ> request = RequestFromPem(pem);
    const int length = request ? i2d_X509_REQ(request.get(), nullptr) : -1;
    if (length <= 0) {
        return Fail(ErrorCode::MALFORMED, "not a certificate request (PKCS#10) in PEM: " + OpenSslReason());
    }
    std::string der(static_cast<size_t>(length), '\0');
    auto* at = reinterpret_cast<unsigned char*>(der.data());
    i2d_X509_REQ(request.get(), &at);
    return der;
}

Result<EnrolmentRequest> ReadRequest(std::string_view der)
{
    const unsigned char* at = BytesOf(der);
    const OpenSslPtr<X509_REQ> request(d2i_X509_REQ(nullptr, &at, static_cast<long>(der.size())));
    EVP_PKEY* const key = request ? X509_REQ_get0_pubkey(request.get()) : nullptr;
    if (key == nullptr || at != BytesOf(der) + der.size()) {
        (void)OpenSslReason();
        return Fail(ErrorCode::MALFORMED, "its request is no certificate request (PKCS#10)");
    }
    if (X509_REQ_verify(request.get(), key) != 1) {
        (void)OpenSslReason();
        return Fail(ErrorCode::UNTRUSTED, "its request is not signed by the key that it is for");
    }
    EnrolmentRequest read{RequestToPem(request.get()), CommonNameOf(X509_REQ_get_subject_name(request.get())),
                          NetworkIdOf(key)};
    if (!IsShowable(read.name)) {
        return Fail(ErrorCode::MALFORMED, "its request has a name that is not 1 to 64 bytes of visible UTF-8");
    }
    return read;
}

}  // namespace Vexo::Trust
