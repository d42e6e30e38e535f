// How a person mends an identity folder (identity.h): which of its files can be made anew, and by which commands. What
// cannot be made anew is the account's key; no advice moves or replaces a usable one. Blocks on the disk; any thread;
// changes nothing. Who shows it: identity_checks.h.
#pragma once

#include <filesystem>
#include <string>

namespace Vexo::Trust {

// For a folder that LoadIdentity refuses: the step for the first file, in its order, that cannot be used. One or two
// sentences with the commands to run.
std::string RepairAdvice(const std::filesystem::path& folder);

// For a device whose certificate is missing, damaged or expired, and whose key and id can be used.
std::string ReissueAdvice(const std::filesystem::path& folder);

// The account that the folder's account certificate names; empty when there is none that can be read.
std::string AccountOf(const std::filesystem::path& folder);

}  // namespace Vexo::Trust
