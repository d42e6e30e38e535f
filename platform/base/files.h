// File helpers: create folders with a given mode, read a whole file with a size limit, replace a file by rename (a
// reader sees the old text or the new one, never a part), and write a whole text to a descriptor. Functions without
// state that block on the disk, or on the pipe or socket behind the descriptor; any thread.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

#include "platform/base/open_file.h"
#include "platform/base/result.h"

namespace Vexo {

inline constexpr mode_t PRIVATE_FOLDER = 0700;  // for its owner only

// Creates the folder and its missing parents with that mode, whatever the umask. An existing folder stays unchanged.
// The error names the first folder that cannot be created.
[[nodiscard]] Result<void> MakeFolder(const std::filesystem::path& folder, mode_t mode);

// Returns the content of a regular file. The error names the file and the cause (missing, not readable, not a regular
// file, larger than maxBytes). If other users can write to the file's folder, pass LastLink::REFUSED.
[[nodiscard]] Result<std::string> ReadWholeFile(const std::filesystem::path& path, size_t maxBytes,
                                                LastLink link = LastLink::FOLLOWED);

// Writes the whole text, and continues after partial and interrupted writes. Returns false with errno set on failure; a
// part of the text may have been written by then.
[[nodiscard]] bool WriteAll(int fd, std::string_view text);

// BEFORE_RENAME: waits until the data is on the disk. LATER: does not wait, because that may take seconds; after a
// power failure the file may be empty.
enum class Sync { BEFORE_RENAME, LATER };
// Writes text to a new temporary file with that mode in the same folder, syncs it (see Sync), and renames it to path.
[[nodiscard]] Result<void> WriteFileAtomically(const std::filesystem::path& path, std::string_view text, mode_t mode,
                                               Sync sync = Sync::BEFORE_RENAME);

}  // namespace Vexo
