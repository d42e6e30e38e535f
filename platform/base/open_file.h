// Operations on one open file, for callers that check a file before they read it. Functions block on the disk. Any
// thread, but one at a time for each descriptor. To read a whole file in one step: platform/base/files.h.
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
// Whether a symbolic link as the last component of a path is followed or refused. Refuse it in a folder that other
// users can write to, because they could let the link point to any file.
enum class LastLink { FOLLOWED, REFUSED };
// Opens a regular file, read-only and close-on-exec. Refuses everything else, without waiting for a FIFO or a device.
// The error names the path and the cause.
[[nodiscard]] Result<UniqueFd> OpenRegularFile(const std::filesystem::path& path, LastLink link = LastLink::FOLLOWED);
// As OpenRegularFile, but returns an empty descriptor when the file cannot be opened.
UniqueFd OpenForReading(const std::string& path);
// Returns the bytes from the current position to the end. The error names path and the cause (the read failed, or there
// are more than maxBytes).
[[nodiscard]] Result<std::string> ReadToEnd(int fd, const std::filesystem::path& path, size_t maxBytes);
// Returns the size in bytes that fstat(2) reports, or -1 on failure.
int64_t FileStatusSize(int fd);
// SeekToEnd and SeekToStart move the position and return the new one in bytes, or -1 on failure.
int64_t SeekToEnd(int fd);
int64_t SeekToStart(int fd);
// Reads content.size() bytes into content. Shortens content when the file ends first. Returns false when a read fails.
bool ReadInto(int fd, std::string& content);

}  // namespace Vexo
