// Operations on one open file, for callers that check a file before they read it. The functions block on the disk. Any
// thread may call them, but only one thread at a time may use a descriptor. To read a whole file in one step, see
// platform/base/files.h.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

#include "platform/base/result.h"
#include "platform/base/unique_fd.h"

namespace Vexo {

// Opens /dev/null on each of the descriptors 0 to 2 that is closed, so that a file that is opened later cannot get one
// of these numbers and receive text for standard output or standard error. Writing to a descriptor that this function
// opened fails with EBADF. Call this function first in main.
void OpenClosedStandardStreams();
// Says whether a symbolic link as the last component of a path is followed or refused. Refuse such a link in a folder
// to which other users can write, because those users could make the link point to any file.
enum class LastLink { FOLLOWED, REFUSED };
// Opens a regular file, read-only and close-on-exec. Refuses everything else, and does not wait for a FIFO or a device.
// The error names the path and the cause.
[[nodiscard]] Result<UniqueFd> OpenRegularFile(const std::filesystem::path& path, LastLink link = LastLink::FOLLOWED);
// Opens a regular file, read-only and close-on-exec. Returns an empty descriptor when the file cannot be opened or is
// not a regular file.
UniqueFd OpenForReading(const std::string& path);
// Returns the bytes from the current position to the end of the file. The error names the path and the cause: the read
// failed, or there are more than maxBytes bytes.
[[nodiscard]] Result<std::string> ReadToEnd(int fd, const std::filesystem::path& path, size_t maxBytes);
// Returns the size in bytes that fstat(2) reports, or -1 on failure.
int64_t FileStatusSize(int fd);
// SeekToEnd and SeekToStart change the position in the file. They return the new position in bytes, or -1 on failure.
int64_t SeekToEnd(int fd);
int64_t SeekToStart(int fd);
// Reads content.size() bytes into content. Shortens content when the file ends earlier. Returns false when a read
// fails.
bool ReadInto(int fd, std::string& content);

}  // namespace Vexo
