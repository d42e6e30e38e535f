// Accounts, and enrolment by files in standard formats. A device's private key never leaves the device. The steps:
//   1. The first device calls CreateAccount. This device then holds the account's key.
//   2. Each further device calls MakeRequest, which returns a request (PKCS#10, RFC 2986).
//   3. The device that holds the account's key calls Admit, which returns an answer (CMS, RFC 5652).
//   4. The new device calls Install with the answer.
// The answer contains both X.509 certificates, the link keys and the account's state. The account's key signs the
// answer, and the answer is encrypted for the new device's key. docs/enrolment.md describes the formats. The functions
// are thread-safe and block on the disk and on key generation. After a failure at any moment, the device is unchanged,
// or it has a partial enrolment. The same call then completes that enrolment.
#pragma once

#include <chrono>
#include <filesystem>
#include <string>

#include "platform/base/clock.h"
#include "platform/base/result.h"
#include "platform/trust/identity.h"

namespace Vexo::Trust {

inline constexpr std::chrono::hours ACCOUNT_VALIDITY{24 * 3652};
inline constexpr std::chrono::hours DEVICE_VALIDITY{24 * 3652};
inline constexpr size_t MAX_ACCOUNT_NAME = 64;  // bytes; the upper bound of a common name in X.520

// Creates an account with the name accountName, its first link key and its first state. Enrols this device in the
// account with the name deviceName. If the folder contains an account's key already, the function does not create
// another account. In that case the function creates the missing certificate or link key of this device, and
// accountName must be the name of the existing account.
// Returns ALREADY_EXISTS when the device has an account and nothing is missing, when the device does not hold the key
// of its account, or when the key in the folder belongs to an account with another name.
[[nodiscard]] Result<void> CreateAccount(const std::filesystem::path& folder, const std::string& accountName,
                                         const std::string& deviceName);

// Returns a PKCS#10 request in PEM for this device's key. Returns ALREADY_EXISTS when the device has an account and the
// account's link key.
[[nodiscard]] Result<std::string> MakeRequest(const std::filesystem::path& folder, const std::string& deviceName);

struct AdmitOptions {
    uint16_t type = 0;  // the new member's device type, a value of the HELLO frame (docs/link.md); 0: unknown
    std::chrono::hours validity = DEVICE_VALIDITY;
    const Clock* clock = &Clock::System();
};

// Makes the device that sent the request a member, with the name in the request. Returns an answer in PEM for Install.
// The account's new state is on disk when Admit returns. The answer contains a certificate that is valid for
// options.validity from now, but not longer than the account's certificate. The answer also contains the account's
// state and link keys in encrypted form. Write the answer to a file of mode 0600. A device that is a member already may
// be admitted again, and keeps its name. Errors:
//   MALFORMED, UNTRUSTED, INVALID_ARGUMENT: the request is not valid (enrolment_request.h)
//   ALREADY_EXISTS: another member has the name; the message suggests the name from FreeName
//   REFUSED: the account removed the device that sent the request, or this device
//   NOT_FOUND, UNAVAILABLE: this device cannot change the account (membership.h)
//   EXPIRED: the account's certificate has expired
[[nodiscard]] Result<std::string> Admit(const std::filesystem::path& folder, const std::string& requestPem,
                                        const AdmitOptions& options = {});

// Returns the given name unchanged if no member of the account has that name. Otherwise returns the name with a number
// appended.
std::string FreeName(const AccountState& state, const std::string& name);

// Installs an answer that Admit returned. A device that lacks only its link key accepts an answer of its own account.
// Errors:
//   MALFORMED: the text is not an answer, is damaged, or has a newer format
//   UNTRUSTED: the answer is for another device's key, or the account's key did not sign it
//   UNTRUSTED: the certificates, link keys and state in the answer do not belong together
//   INVALID_ARGUMENT: the account's state in the answer has a newer format
//   EXPIRED: a certificate in the answer is not valid now
//   ALREADY_EXISTS: this device has an account, or an account's key
[[nodiscard]] Result<void> Install(const std::filesystem::path& folder, const std::string& answerPem);

}  // namespace Vexo::Trust
