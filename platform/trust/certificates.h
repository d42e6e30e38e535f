// Creates the certificates of an account and of its devices (docs/enrolment.md), and checks the names in them. Used by
// platform/trust only. Functions without state that do not block; any thread. Functions that return a certificate
// return null on failure, and OpenSslReason returns the cause.
#pragma once

#include <chrono>
#include <string>

#include "platform/base/clock.h"
#include "platform/base/result.h"
#include "platform/trust/identity.h"

namespace Vexo::Trust {

// Checks the name of an account or a device: 1 to 64 bytes of UTF-8 without control characters. INVALID_ARGUMENT: the
// name is not allowed; the message begins with the text in what, such as "device name".
[[nodiscard]] Result<void> CheckName(const std::string& name, const std::string& what);

bool SetCommonName(X509_NAME* name, const std::string& text);

Certificate MakeAccountCertificate(EVP_PKEY* key, const std::string& name, const Clock& clock);
// The new certificate expires after validity, but no later than the account's certificate.
Certificate MakeDeviceCertificate(EVP_PKEY* deviceKey, const std::string& deviceName, X509* account,
                                  EVP_PKEY* accountKey, std::chrono::hours validity, const Clock& clock);

}  // namespace Vexo::Trust
