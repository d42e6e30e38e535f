// Configuration policy: finds a configuration file below an ordered list of roots, lowest priority first. The host sets
// the roots once at start; look-ups may run on any thread and touch the disk.
#pragma once

#include <cstddef>
#include <filesystem>
#include <vector>

namespace Vexo {

inline constexpr size_t MAX_POLICY_PATH_LENGTH = 4096;

// The highest-priority existing file root/pathSuffix, written into buffer (bufferLength bytes, at most
// MAX_POLICY_PATH_LENGTH are used). Returns buffer, or null when no root holds the file, the suffix is empty or leads
// out of the root, or the path does not fit.
char* GetOneCfgFile(const char* pathSuffix, char* buffer, size_t bufferLength);

// Lowest priority first. Shipped order: /usr/share/distnet, /etc/distnet.
void SetConfigPolicyRoots(std::vector<std::filesystem::path> roots);

}  // namespace Vexo
