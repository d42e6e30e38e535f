// CommonUtils: permission checks of the caller of a remote request, anonymised identifiers for logs and events, and a
// string splitter. Any thread; no call blocks. The checks apply to the caller of the current transaction of this thread
// (platform/ipc/ipc_skeleton.h).
#pragma once

#include <string>
#include <vector>

namespace Vexo::NetManagerStandard::CommonUtils {

// Returns true if the caller holds the permission. A native process holds every permission; an application needs the
// grant and the privilege level system basic or system core; any other caller (a shell) holds none. A refusal is
// logged.
bool CheckPermission(const std::string& strPermission);

// Like CheckPermission, but caches the first result for each caller for the life of the process. The key of the cache
// is only the caller's token: the result for the first permission is returned for every other permission, too.
bool CheckPermissionWithCache(const std::string& strPermission);

// Returns the bytes of input as decimal numbers (signed, 8 bit) without separators, with the last six characters
// masked: "abcd" gives "979******". Throws std::out_of_range if the text of numbers has fewer than six characters.
std::string GetAnonymousStr(const std::string& input);

// Returns the first and last five characters with "**" between them, or "***" if deviceId has fewer than ten
// characters.
std::string GetAnonymousDeviceID(const std::string& deviceId);

// Returns the parts of str between separators. An empty last part is left out: "a,b," gives two parts. sep must not be
// empty.
std::vector<std::string> Split(const std::string& str, const std::string& sep);

}  // namespace Vexo::NetManagerStandard::CommonUtils
