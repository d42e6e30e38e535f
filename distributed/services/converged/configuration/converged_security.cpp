#include "distributed/services/converged/configuration/converged_security.h"

#include <algorithm>

#include "distributed/services/utils/net_mgr_log_wrapper.h"
#include "platform/access/caller_check.h"
#include "platform/base/open_file.h"

namespace Vexo::NetManagerStandard {

using Security::CallerVerdict;

namespace {

constexpr const char* CONFIGURATION_PATH_PREFIX = "/system/etc/communication/netmanager_converged";
constexpr int32_t MAX_FILE_SIZE_BYTES = 0x20000000;

}  // namespace

bool ConvergedSecurity::CheckFilePath(const std::string& path)
{
    if (!FileSecurity::GetInstance().VerifyFilePath(path)) {
        NETMGR_EXT_LOGE(" invalid file path.");
        return false;
    }
    return true;
}

bool ConvergedSecurity::CheckFileSize(int fd)
{
    if (!FileSecurity::GetInstance().VerifyFileSize(fd, MAX_FILE_SIZE_BYTES)) {
        // CheckFilePath writes the same text. Here the size is wrong, not the path.
        NETMGR_EXT_LOGE(" invalid file path.");
        return false;
    }
    return true;
}

bool ConvergedSecurity::CheckPermission(const std::string& permission)
{
    // This check accepts applications of any privilege level. CommonUtils::CheckPermission does not.
    const auto [verdict, token, type] = Security::CheckCaller(permission, Security::RequiredLevel::ANY);
    const auto tokenType = static_cast<int32_t>(type);
    if (verdict == CallerVerdict::GRANTED) {
        return true;
    }
    if (verdict == CallerVerdict::NO_NAME) {
        NETMGR_EXT_LOGE(" permission check failed, permission name is empty.");
        return false;
    }
    if (verdict == CallerVerdict::WRONG_TYPE) {
        NETMGR_EXT_LOGE(" tokenType:%{public}d invalid", tokenType);
    }
    NETMGR_EXT_LOGE(" permission check failed, permission:%{public}s, token:%u, type:%{public}d", permission, token,
                    tokenType);
    return false;
}

ConvergedSecurity::FileSecurity::FileSecurity() : allowedPrefixes_{CONFIGURATION_PATH_PREFIX} {}

ConvergedSecurity::FileSecurity& ConvergedSecurity::FileSecurity::GetInstance()
{
    static NeverDestroyed<FileSecurity> instance;
    return instance.value;
}

bool ConvergedSecurity::FileSecurity::VerifyFilePath(const std::string& path) const
{
    return std::any_of(allowedPrefixes_.begin(), allowedPrefixes_.end(),
                       [&path](const std::string& prefix) { return path.starts_with(prefix); });
}

bool ConvergedSecurity::FileSecurity::VerifyFileSize(int fd, int32_t maxSize) const
{
    if (fd < 0) {
        NETMGR_EXT_LOGE(" open file fail");
        return false;
    }
    const auto size = static_cast<int32_t>(SeekToEnd(fd));
    if (size >= 1 && size <= maxSize) {
        SeekToStart(fd);
        return true;
    }
    NETMGR_EXT_LOGE(" file over maxSize");
    return false;
}

}  // namespace Vexo::NetManagerStandard
