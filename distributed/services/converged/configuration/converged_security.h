// ConvergedSecurity: checks the path and the size of a configuration file before it is read, and checks the permission
// of a caller. Thread-safe. A function that refuses its argument returns false and logs the reason.
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
    // Accepts a file of 1 byte to 512 MiB. Leaves the file position at the start of an accepted file, and at the end of
    // a refused file.
    static bool CheckFileSize(int fd);
    // Returns true if the caller of this thread's current transaction holds the permission. A native process holds
    // every permission. An application of any privilege level holds a permission that was granted to it. Any other
    // caller holds no permission.
    static bool CheckPermission(const std::string& permission);
};

class ConvergedSecurity::FileSecurity : public NoCopyable {
public:
    static FileSecurity& GetInstance();

    // Returns true if the path starts with an allowed prefix. Only characters are compared, so the prefix may end
    // inside a path component.
    bool VerifyFilePath(const std::string& path) const;
    // Returns true for a file of 1 to maxSize bytes. The size is truncated to 32 bits, so a file of 4 GiB and 1 byte
    // counts as 1 byte.
    bool VerifyFileSize(int fd, int32_t maxSize) const;

private:
    friend NeverDestroyed<FileSecurity>;

    FileSecurity();

    std::set<std::string> allowedPrefixes_;
};

}  // namespace Vexo::NetManagerStandard
