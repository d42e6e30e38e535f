// File helpers: create folders with a given mode, read a whole file up to a size limit, replace a file, and write a
// whole text to a descriptor. A file is replaced by rename, so that a reader sees the old text or the new one, never a
// part. The functions are thread-safe and block on the disk, or on the pipe or socket behind the descriptor.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

#include "platform/base/open_file.h"
#include "platform/base/result.h"

namespace Vexo {

inline constexpr mode_t PRIVATE_FOLDER = 0700;  // only the owner may access the folder

// Creates the folder and its missing parents with the given mode, independent of the umask. An existing folder stays
// unchanged. The error names the first folder that cannot be created.
[[nodiscard]] Result<void> MakeFolder(const std::filesystem::path& folder, mode_t mode);

// Returns the content of a regular file. The error names the file and the cause: the file is missing, is not readable,
// is not a regular file, or is larger than maxBytes. If other users can write to the file's folder, pass
// LastLink::REFUSED (the reason: LastLink in platform/base/open_file.h).
[[nodiscard]] Result<std::string> ReadWholeFile(const std::filesystem::path& path, size_t maxBytes,
                                                LastLink link = LastLink::FOLLOWED);

// Writes the whole text to the descriptor, and continues after partial and interrupted writes. On failure, returns
// false and sets errno; a part of the text may then have been written.
[[nodiscard]] bool WriteAll(int fd, std::string_view text);

// Says whether WriteFileAtomically waits until the data is on the disk. BEFORE_RENAME: the function waits before it
// renames the file. LATER: the function does not wait, because waiting may take seconds; after a power failure the file
// may be empty.
enum class Sync { BEFORE_RENAME, LATER };
// Replaces the file at path: writes the text to a new temporary file with the given mode in the same folder, and
// renames that file. sync: whether to wait until the data is on the disk.
[[nodiscard]] Result<void> WriteFileAtomically(const std::filesystem::path& path, std::string_view text, mode_t mode,
                                               Sync sync = Sync::BEFORE_RENAME);

}  // namespace Vexo
