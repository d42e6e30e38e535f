// CommonUtils: checks the permissions of the caller of a remote request, anonymises identifiers for logs and events,
// and splits strings. Any thread may call the functions, which do not block. The permission checks apply to the caller
// of this thread's current transaction (platform/ipc/ipc_skeleton.h).
#pragma once

#include <string>
#include <vector>

namespace Vexo::NetManagerStandard::CommonUtils {

// Returns true if the caller holds the permission. A native process holds every permission. An application holds a
// granted permission if its privilege level is system_basic or system_core. Any other caller, such as a shell, holds no
// permission. A refusal is logged.
bool CheckPermission(const std::string& strPermission);

// Checks the permission like CheckPermission, and caches the first result for each caller. The cache lives as long as
// the process. Its key is only the caller's token, so later calls return the first result also for other permissions.
bool CheckPermissionWithCache(const std::string& strPermission);

// Returns each byte of input as a decimal number (signed, 8 bit), without separators. Replaces the last six characters
// of this text by asterisks. For example, "abcd" gives "979******". Throws std::out_of_range if the text of numbers has
// fewer than six characters.
std::string GetAnonymousStr(const std::string& input);

// Returns the first five characters, "**", and the last five characters. Returns "***" if deviceId has fewer than ten
// characters.
std::string GetAnonymousDeviceID(const std::string& deviceId);

// Splits str at each separator and returns the parts. An empty last part is left out, so "a,b," gives two parts. The
// separator sep must not be empty.
std::vector<std::string> Split(const std::string& str, const std::string& sep);

}  // namespace Vexo::NetManagerStandard::CommonUtils
