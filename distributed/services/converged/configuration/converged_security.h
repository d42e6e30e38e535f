// ConvergedSecurity: checks the path and the size of a configuration file before it is read, and checks the permission
// of a caller. Any thread. Functions that refuse log the reason and return false.
#pragma once

#include <cstdint>
#include <set>
#include <string>

#include "platform/base/never_destroyed.h"
#include "platform/base/nocopyable.h"

namespace Vexo::NetManagerStandard {

class ConvergedSecurity {
public:
    class FileSecurity;

    static bool CheckFilePath(const std::string& path);
    // Accepts 1 byte to 512 MiB. After success the file position is at the start, after a failure at the end.
    static bool CheckFileSize(int fd);
    // Returns whether the caller of this thread's current transaction holds the permission. A native process holds
    // every permission; an application of any privilege level needs the grant; any other caller is refused.
    static bool CheckPermission(const std::string& permission);
};

// The process-wide file rules; constant after construction.
class ConvergedSecurity::FileSecurity : public NoCopyable {
public:
    static FileSecurity& GetInstance();

    // Returns true if the path starts with an allowed prefix. The comparison is plain text: the prefix need not end at
    // a path separator.
    bool VerifyFilePath(const std::string& path) const;
    // Returns true for a file of 1 to maxSize bytes. The size is truncated to 32 bits: a file of 4 GiB and 1 byte
    // counts as 1 byte.
    bool VerifyFileSize(int fd, int32_t maxSize) const;

private:
    friend NeverDestroyed<FileSecurity>;

    FileSecurity();

    std::set<std::string> allowedPrefixes_;
};

}  // namespace Vexo::NetManagerStandard
