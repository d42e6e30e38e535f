// Configuration policy: finds a configuration file in an ordered list of root folders. The host sets this list once at
// start. Thread-safe. GetOneCfgFile reads the disk.
#pragma once

#include <cstddef>
#include <filesystem>
#include <vector>

namespace Vexo {

inline constexpr size_t MAX_POLICY_PATH_LENGTH = 4096;

// Finds the file pathSuffix in the root folders, writes its path into buffer and returns buffer. If several roots have
// the file, the root with the highest priority counts. Returns null if no root has the file, the path does not fit, or
// the suffix is empty, absolute or contains "..".
// bufferLength: the size of buffer in bytes, of which at most MAX_POLICY_PATH_LENGTH are used.
char* GetOneCfgFile(const char* pathSuffix, char* buffer, size_t bufferLength);

// Replaces the root folders. The first has the lowest priority. Default: /usr/share/distnet, /etc/distnet.
void SetConfigPolicyRoots(std::vector<std::filesystem::path> roots);

}  // namespace Vexo
