// Advice for a person who repairs an identity folder (identity.h): the commands that make its files anew. The account's
// key cannot be made anew, so no advice moves or replaces a usable one. Blocks on the disk; any thread; changes
// nothing. Used by identity_checks.h.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "platform/trust/identity.h"

namespace Vexo::Trust {

// What is wrong with an identity that LacksLinkKey; LinkKeyAdvice says what to do.
inline constexpr const char* LACKS_LINK_KEY =
    "no link key (link.key): this device was enrolled by version 0.1, or the file is lost";

// For a folder that LoadIdentity refuses: the step for the first file, in its order, that cannot be used. One or two
// sentences with the commands to run.
std::string RepairAdvice(const std::filesystem::path& folder);

// For a device whose certificate is missing, damaged or expired, and whose key and id can be used.
std::string ReissueAdvice(const std::filesystem::path& folder);

// For a device whose link key is missing or damaged, and whose key, id and certificate can be used.
std::string LinkKeyAdvice(const std::filesystem::path& folder);

// What is wrong with the account of a device whose identity can be used, and the one step that mends it: this device
// was removed, was restored and has met nobody, or has lost the account's state. nullopt: nothing.
struct AccountFault {
    std::string message;
    std::string advice;
};
std::optional<AccountFault> FindAccountFault(const std::filesystem::path& folder, const Identity& identity);

// The step for certificates that have expired or will.
std::string RenewAdvice(const std::filesystem::path& folder, const Identity& identity);
std::string BackupAdvice(const std::filesystem::path& folder);

// The account that the folder's account certificate names; empty when there is none that can be read.
std::string AccountOf(const std::filesystem::path& folder);

}  // namespace Vexo::Trust
