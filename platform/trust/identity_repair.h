// Advice for a person who repairs an identity folder (identity.h): one or two sentences with the commands to run.
// Nobody can create the account's key again, so no advice moves or replaces an account's key that can be used. The
// functions are thread-safe and block on the disk and change nothing.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "platform/trust/identity.h"

namespace Vexo::Trust {

// The message for an identity whose LacksLinkKey returns true. LinkKeyAdvice returns the advice that belongs to this
// message.
inline constexpr const char* LACKS_LINK_KEY =
    "no link key (link.key): this device was enrolled by version 0.1, or the file is lost";

// Call this function for a folder that LoadIdentity refuses. Returns the advice for the first file that cannot be used.
// The function checks the files in this order: device key, device id, certificates, link key, account's key.
std::string RepairAdvice(const std::filesystem::path& folder);

// Returns the advice for a device whose certificate is missing, damaged or expired. Call this function only if the
// device's key and id are valid.
std::string ReissueAdvice(const std::filesystem::path& folder);

// Returns the advice for a device whose link key is missing or damaged. Call this function only if the device's key, id
// and certificate are valid.
std::string LinkKeyAdvice(const std::filesystem::path& folder);

// A problem with the account, although the device's identity can be used: the account removed this device, a restored
// device has not met another member yet, or this device has lost the account's state. FindAccountFault returns nullopt
// when there is no problem.
struct AccountFault {
    std::string message;
    std::string advice;
};
std::optional<AccountFault> FindAccountFault(const std::filesystem::path& folder, const Identity& identity);

// Returns the advice for certificates that have expired or expire soon.
std::string RenewAdvice(const std::filesystem::path& folder, const Identity& identity);
std::string BackupAdvice(const std::filesystem::path& folder);

// Returns the account's name from the account certificate in the folder. Returns an empty string when that certificate
// is missing or cannot be read.
std::string AccountOf(const std::filesystem::path& folder);

}  // namespace Vexo::Trust
