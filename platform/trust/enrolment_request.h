// Checks the request of a device that wants to join an account (PKCS#10, RFC 2986). The request arrives as a file
// (account.h), or over a network connection during enrolment by ticket (ticket_join.h). Only platform/trust uses this
// header. The function is thread-safe and does not block.
#pragma once

#include <string>

#include "platform/base/result.h"
#include "platform/trust/openssl_util.h"

namespace Vexo::Trust {

struct CheckedRequest {
    OpenSslPtr<X509_REQ> request;  // the request, which owns key
    EVP_PKEY* key = nullptr;       // the device's public key, P-256
    std::string name{};            // the device's name, checked by CheckName
};

// Checks an enrolment request. MALFORMED: the pointer is null, because the request could not be decoded. UNTRUSTED: the
// request is not signed with the key in the request, or that key is not P-256. INVALID_ARGUMENT: the device's name is
// not allowed.
[[nodiscard]] Result<CheckedRequest> CheckRequest(OpenSslPtr<X509_REQ> request);

}  // namespace Vexo::Trust
