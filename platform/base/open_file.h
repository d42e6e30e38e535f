// Operations on one open file, for callers that judge a file before they read it. They block on the disk; any thread,
// one at a time for one descriptor. Whole files in one step: platform/base/files.h.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

#include "platform/base/result.h"
#include "platform/base/unique_fd.h"

namespace Vexo {

// Opens /dev/null on closed descriptors 0 to 2, so that later opens cannot reuse them and receive printed text. Call
// first in main. Writing to such an output fails with EBADF.
void KeepStandardStreams();
// What a symbolic link in the last place of a path is. In a folder that others may write it could lead anywhere.
enum class LastLink { FOLLOWED, REFUSED };
// Read-only and closed on exec. Only regular files: opening a FIFO or a device does not wait, and is refused. The error
// names the path and the cause.
[[nodiscard]] Result<UniqueFd> OpenRegularFile(const std::filesystem::path& path, LastLink link = LastLink::FOLLOWED);
// The same without the error; empty when it cannot be opened.
UniqueFd OpenForReading(const std::string& path);
// What is left to read; an error names path, as the file was opened, and the cause (a read failed, larger than
// maxBytes).
[[nodiscard]] Result<std::string> ReadToEnd(int fd, const std::filesystem::path& path, size_t maxBytes);
// In bytes, from the file's status; -1 when there is none.
int64_t FileStatusSize(int fd);
// Both return the new position in bytes, or -1.
int64_t SeekToEnd(int fd);
int64_t SeekToStart(int fd);
// Fills content, whose size says how much to read; a file that ends before that shortens it. False when a read fails.
bool ReadInto(int fd, std::string& content);

}  // namespace Vexo
