// Accounts and enrolment by files in standard formats; private keys never leave their device. On the first device
// CreateAccount; on each further one WriteRequest (PKCS#10, RFC 2986), then Admit on the device that holds the
// account's key (X.509, RFC 5280; the answer file is the device's certificate followed by the account's, both PEM),
// then Install. Functions block on the disk and on key generation; any thread. Nothing that exists is overwritten or
// lost on failure.
#pragma once

#include <chrono>
#include <filesystem>
#include <string>

#include "platform/base/result.h"
#include "platform/trust/identity.h"

namespace Vexo::Trust {

inline constexpr std::chrono::hours ACCOUNT_VALIDITY{24 * 3652};
inline constexpr std::chrono::hours DEVICE_VALIDITY{24 * 3652};
inline constexpr size_t MAX_ACCOUNT_NAME = 64;  // X.520 upper bound of a common name

// Makes an account named accountName and enrols this device under deviceName. Where the account's key lies already, no
// account is made: the device gets a certificate of that key, which must be given its account's name. Refused when the
// device has an account.
[[nodiscard]] Result<void> CreateAccount(const std::filesystem::path& folder, const std::string& accountName,
                                         const std::string& deviceName);

// A PEM PKCS#10 request for this device's key.
[[nodiscard]] Result<std::string> MakeRequest(const std::filesystem::path& folder, const std::string& deviceName);

// Checks the request's own signature and issues a certificate for its key, valid from now for validity, but no longer
// than the account; returns the PEM chain. Refused when this device does not hold the account's key, or the account has
// expired.
[[nodiscard]] Result<std::string> Admit(const std::filesystem::path& folder, const std::string& requestPem,
                                        std::chrono::hours validity = DEVICE_VALIDITY);

// Installs the chain that Admit made. Refused when it is for another key, does not verify, has expired, or the device
// has an account already.
[[nodiscard]] Result<void> Install(const std::filesystem::path& folder, const std::string& chainPem);

}  // namespace Vexo::Trust
