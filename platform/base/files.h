// Folders of a given mode, and whole-file helpers: read with a size limit, write by rename so that a reader sees the
// old text or the new, never a part; and writing a whole text to a descriptor. They block on the disk, or on what else
// the descriptor is; any thread; no state.
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

// Makes the folder and its missing parents with that mode, whatever the umask; a folder that exists stays as it is. The
// error names the first that cannot be made.
[[nodiscard]] Result<void> MakeFolder(const std::filesystem::path& folder, mode_t mode);

// The bytes of a regular file; an error names the file and the cause (missing, not readable, no regular file, larger
// than maxBytes). REFUSED for a file in a folder that other users may write.
[[nodiscard]] Result<std::string> ReadWholeFile(const std::filesystem::path& path, size_t maxBytes,
                                                LastLink link = LastLink::FOLLOWED);

// Writes the whole text, also where write(2) takes only a part or is interrupted. False with errno set when it fails;
// a part may be written by then.
[[nodiscard]] bool WriteAll(int fd, std::string_view text);

// LATER: does not wait for the disk, which may take seconds. After a power failure the file may be empty.
enum class Sync { BEFORE_RENAME, LATER };
// Writes text to a temporary file in the same folder (created exclusively, with mode), syncs it and renames it over
// path.
[[nodiscard]] Result<void> WriteFileAtomically(const std::filesystem::path& path, std::string_view text, mode_t mode,
                                               Sync sync = Sync::BEFORE_RENAME);

}  // namespace Vexo
