// Accounts and enrolment by files in standard formats; private keys never leave their device. On the first device
// CreateAccount; on each further one MakeRequest (PKCS#10, RFC 2986), then Admit on the device that holds the account's
// key (CMS, RFC 5652: both certificates, X.509, the link keys and the account's state, signed by the account's key and
// encrypted for the device's), then Install. The formats: docs/enrolment.md. Functions block on the disk and on key
// generation; any thread. A failure at any moment leaves the device as it was, or with an enrolment that the same call
// completes.
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
inline constexpr size_t MAX_ACCOUNT_NAME = 64;  // X.520 upper bound of a common name

// Makes an account named accountName with its first link key and its first state, and enrols this device under
// deviceName. If the folder holds an account's key already, no account is made: the device gets the certificate and the
// link key if they are missing, and accountName must be the name of that account. Refused when the device has an
// account and nothing is missing.
[[nodiscard]] Result<void> CreateAccount(const std::filesystem::path& folder, const std::string& accountName,
                                         const std::string& deviceName);

// A PEM PKCS#10 request for this device's key. Refused when the device has an account and its link key.
[[nodiscard]] Result<std::string> MakeRequest(const std::filesystem::path& folder, const std::string& deviceName);

struct AdmitOptions {
    uint16_t type = 0;  // the new member's, as in HELLO; 0: unknown
    std::chrono::hours validity = DEVICE_VALIDITY;
    const Clock* clock = &Clock::System();
};

// Checks the request's own signature, makes its key a member under the request's name, and issues a certificate, valid
// from now for validity, but no longer than the account. The account's new state is stored before the answer returns,
// in PEM; the answer holds the state and the link keys, encrypted: a file of mode 0600. The same key may be admitted
// again and stays the member that it is. ALREADY_EXISTS: the name is another member's; the message suggests FreeName.
// REFUSED: the account removed that key. NOT_FOUND, UNAVAILABLE: membership.h. EXPIRED: the account.
[[nodiscard]] Result<std::string> Admit(const std::filesystem::path& folder, const std::string& requestPem,
                                        const AdmitOptions& options = {});

// A name that no member has: name itself, or with a number behind it.
std::string FreeName(const AccountState& state, const std::string& name);

// Installs the answer that Admit made. Refused when it is no such answer or damaged (MALFORMED), for another key or
// signed by another (UNTRUSTED), EXPIRED, or the device has an account already (ALREADY_EXISTS); a device that lacks
// only its link key takes an answer of its own account.
[[nodiscard]] Result<void> Install(const std::filesystem::path& folder, const std::string& answerPem);

}  // namespace Vexo::Trust
