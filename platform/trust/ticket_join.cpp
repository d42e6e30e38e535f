#include "platform/trust/ticket_join.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>
#include <openssl/sha.h>

#include <array>

#include "platform/trust/enrolment_request.h"
#include "platform/trust/openssl_util.h"

namespace Vexo::Trust {

namespace {

constexpr uint64_t NUMBERS = 1'000'000;
constexpr size_t NUMBER_DIGITS = 6;

const unsigned char* BytesOf(std::string_view text)
{
    return reinterpret_cast<const unsigned char*>(text.data());
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
    OpenSslPtr<X509_REQ> request(d2i_X509_REQ(nullptr, &at, static_cast<long>(der.size())));
    if (at != BytesOf(der) + der.size()) {
        request.reset();
    }
    const auto checked = CheckRequest(std::move(request));
    if (!checked) {
        return Failure(checked.error());
    }
    return EnrolmentRequest{RequestToPem(checked.value().request.get()), checked.value().name,
                            NetworkIdOf(checked.value().key)};
}

}  // namespace Vexo::Trust
