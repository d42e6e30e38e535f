// ConvergedSecurity: what a configuration file must satisfy before it is read, and a check of the caller's permission.
// Any thread. Failures are false and are logged.
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
    // 1 byte to 512 MiB. The file position is at the start after success, at the end after a failure.
    static bool CheckFileSize(int fd);
    // Whether the caller of the transaction that the thread runs holds the permission. A native process holds every
    // permission; an application of any privilege level needs the grant; anyone else is refused.
    static bool CheckPermission(const std::string& permission);
};

// The process-wide file rules; constant after construction.
class ConvergedSecurity::FileSecurity : public NoCopyable {
public:
    static FileSecurity& GetInstance();

    // True when the path starts with an allowed prefix, as text: a prefix need not end at a separator.
    bool VerifyFilePath(const std::string& path) const;
    // True for a file of 1 to maxSize bytes; the size is taken as a 32-bit number, so one byte above 4 GiB counts as 1.
    bool VerifyFileSize(int fd, int32_t maxSize) const;

private:
    friend NeverDestroyed<FileSecurity>;

    FileSecurity();

    std::set<std::string> allowedPrefixes_;
};

}  // namespace Vexo::NetManagerStandard
