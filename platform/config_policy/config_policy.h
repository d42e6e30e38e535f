// Configuration policy: finds a configuration file in an ordered list of root folders. The host sets the roots once at
// start. Any thread; a look-up reads the disk.
#pragma once

#include <cstddef>
#include <filesystem>
#include <vector>

namespace Vexo {

inline constexpr size_t MAX_POLICY_PATH_LENGTH = 4096;

// Finds the file pathSuffix in the root of the highest priority that has it, and writes its path into buffer
// (bufferLength bytes, of which at most MAX_POLICY_PATH_LENGTH are used). Returns buffer. Returns null when no root has
// the file, the path does not fit, or the suffix is empty, absolute or contains "..".
char* GetOneCfgFile(const char* pathSuffix, char* buffer, size_t bufferLength);

// Replaces the roots; the lowest priority comes first. Default: /usr/share/distnet, /etc/distnet.
void SetConfigPolicyRoots(std::vector<std::filesystem::path> roots);

}  // namespace Vexo
