// The request of a device that wants to be enrolled (PKCS#10, RFC 2986), checked: by file (account.h) or by ticket
// (ticket_join.h). Used by platform/trust only. Function without state that does not block; any thread.
#pragma once

#include <string>

#include "platform/base/result.h"
#include "platform/trust/openssl_util.h"

namespace Vexo::Trust {

struct CheckedRequest {
    OpenSslPtr<X509_REQ> request;  // owns the key
    EVP_PKEY* key = nullptr;       // of the device; P-256
    std::string name{};            // of the device (CheckName)
};

// request: null when it could not be decoded. MALFORMED: no request; UNTRUSTED: not signed by the key that it is for,
// or a key of another kind than P-256; INVALID_ARGUMENT: a name that is not allowed.
[[nodiscard]] Result<CheckedRequest> CheckRequest(OpenSslPtr<X509_REQ> request);

}  // namespace Vexo::Trust
