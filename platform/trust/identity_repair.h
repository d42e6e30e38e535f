// Advice for a person who repairs an identity folder (identity.h): one or two sentences with the commands to run. The
// account's key cannot be created again, so no advice moves or replaces a usable one. Functions block on the disk and
// change nothing; any thread.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "platform/trust/identity.h"

namespace Vexo::Trust {

// The message for an identity that LacksLinkKey. LinkKeyAdvice returns the advice for it.
inline constexpr const char* LACKS_LINK_KEY =
    "no link key (link.key): this device was enrolled by version 0.1, or the file is lost";

// For a folder that LoadIdentity refuses. Returns the advice for the first file that cannot be used, in this order:
// device key, device id, certificates, link key, account's key.
std::string RepairAdvice(const std::filesystem::path& folder);

// For a device whose key and id can be used, and whose certificate is missing, damaged or expired.
std::string ReissueAdvice(const std::filesystem::path& folder);

// For a device whose key, id and certificate can be used, and whose link key is missing or damaged.
std::string LinkKeyAdvice(const std::filesystem::path& folder);

// A problem of the account on a device whose identity can be used: the account removed this device, the device was
// restored and has not met another member, or it has lost the account's state. FindAccountFault returns nullopt when
// there is no problem.
struct AccountFault {
    std::string message;
    std::string advice;
};
std::optional<AccountFault> FindAccountFault(const std::filesystem::path& folder, const Identity& identity);

// Returns the advice for certificates that have expired or expire soon.
std::string RenewAdvice(const std::filesystem::path& folder, const Identity& identity);
std::string BackupAdvice(const std::filesystem::path& folder);

// Returns the account's name from the folder's account certificate; empty when that is missing or cannot be read.
std::string AccountOf(const std::filesystem::path& folder);

}  // namespace Vexo::Trust
