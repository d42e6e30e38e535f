// Creates the certificates of an account and of its devices (docs/enrolment.md), and checks the names in them. Only
// platform/trust uses this header. The functions are thread-safe and do not block. A function that returns a
// certificate returns null on failure, and OpenSslReason then returns the cause.
#pragma once

#include <chrono>
#include <string>

#include "platform/base/clock.h"
#include "platform/base/result.h"
#include "platform/trust/identity.h"

namespace Vexo::Trust {

// Checks the name of an account or a device: 1 to 64 bytes of UTF-8 without control characters. Returns
// INVALID_ARGUMENT when the name is not allowed.
// what: the text with which the error message begins, such as "device name".
[[nodiscard]] Result<void> CheckName(const std::string& name, const std::string& what);

bool SetCommonName(X509_NAME* name, const std::string& text);

Certificate MakeAccountCertificate(EVP_PKEY* key, const std::string& name, const Clock& clock);
// Creates a device's certificate, signed by the account's key. The certificate expires after the given validity, but
// not later than the account's certificate.
Certificate MakeDeviceCertificate(EVP_PKEY* deviceKey, const std::string& deviceName, X509* account,
                                  EVP_PKEY* accountKey, std::chrono::hours validity, const Clock& clock);

}  // namespace Vexo::Trust
