// Operations on one open file, for callers that judge a file before they read it. They block on the disk; any thread,
// one at a time for one descriptor. Whole files in one step: platform/base/files.h.
#pragma once

#include <cstdint>
#include <string>

#include "platform/base/unique_fd.h"

namespace Vexo {

// Gives standard input, output and error that are closed something to be: what is opened next would take their number,
// and get what is printed. First in main. Writing to such an output fails with EBADF.
void KeepStandardStreams();
// Read-only and closed on exec; empty when it cannot be opened.
UniqueFd OpenForReading(const std::string& path);
// In bytes, from the file's status; -1 when there is none.
int64_t FileStatusSize(int fd);
// Both return the new position in bytes, or -1.
int64_t SeekToEnd(int fd);
int64_t SeekToStart(int fd);
// Fills content, whose size says how much to read; a file that ends before that shortens it. False when a read fails.
bool ReadInto(int fd, std::string& content);

}  // namespace Vexo
