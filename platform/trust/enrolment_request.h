// Checks the request of a device that wants to be enrolled (PKCS#10, RFC 2986), which arrives as a file (account.h) or
// over a link under a ticket (ticket_join.h). Used by platform/trust only. A function without state that does not
// block; any thread.
#pragma once

#include <string>

#include "platform/base/result.h"
#include "platform/trust/openssl_util.h"

namespace Vexo::Trust {

struct CheckedRequest {
    OpenSslPtr<X509_REQ> request;  // owns key
    EVP_PKEY* key = nullptr;       // the device's public key, P-256
    std::string name{};            // the device's name, checked by CheckName
};

// Checks the request; null means that it could not be decoded. MALFORMED: null. UNTRUSTED: not signed by the key in the
// request, or that key is not P-256. INVALID_ARGUMENT: the device's name is not allowed.
[[nodiscard]] Result<CheckedRequest> CheckRequest(OpenSslPtr<X509_REQ> request);

}  // namespace Vexo::Trust
