#include "distributed/services/utils/common_utils.h"

#include <cstdint>
#include <map>

#include "distributed/services/utils/net_mgr_log_wrapper.h"
#include "platform/access/caller_check.h"
#include "platform/base/mutex.h"
#include "platform/base/never_destroyed.h"
#include "platform/ipc/ipc_skeleton.h"

namespace Vexo::NetManagerStandard::CommonUtils {
namespace {

using Security::AccessTokenID;
using Security::CallerVerdict;

constexpr size_t MASKED_LENGTH = 6;
constexpr const char* STRING_MASK = "******";
constexpr size_t DEVICE_ID_MIN_LENGTH = 10;
constexpr size_t DEVICE_ID_SHOWN_LENGTH = 5;
constexpr const char* SHORT_DEVICE_ID_MASK = "***";
constexpr const char* DEVICE_ID_JOINER = "**";

struct VerdictCache {
    Mutex mutex;
    std::map<AccessTokenID, bool> verdicts GUARDED_BY(mutex);
};

}  // namespace

bool CheckPermission(const std::string& strPermission)
{
    const auto [verdict, callerToken, type] = Security::CheckCaller(strPermission, Security::RequiredLevel::SYSTEM);
    const auto tokenType = static_cast<int32_t>(type);
    if (verdict == CallerVerdict::GRANTED) {
        return true;
    }
    if (verdict == CallerVerdict::NO_NAME) {
        NETMGR_EXT_LOGE(" permission check failed，permission name is empty.");
        return false;
    }
    if (verdict == CallerVerdict::WRONG_TYPE) {
        NETMGR_EXT_LOGE(" permission check failed, callerToken:%{public}u, tokenType:%{public}d", callerToken,
                        tokenType);
    }
    NETMGR_EXT_LOGE(" permission check failed, permission:%{public}s, callerToken:%{public}u, tokenType:%{public}d",
                    strPermission, callerToken, tokenType);
    return false;
}

bool CheckPermissionWithCache(const std::string& strPermission)
{
    static NeverDestroyed<VerdictCache> holder;
    VerdictCache& cache = holder.value;
    if (strPermission.empty()) {
        return CheckPermission(strPermission);
    }
    const AccessTokenID callerToken = IPCSkeleton::GetCallingTokenID();
    {
        const MutexLock guard(cache.mutex);
        if (const auto known = cache.verdicts.find(callerToken); known != cache.verdicts.end()) {
            return known->second;
        }
    }
    const bool verdict = CheckPermission(strPermission);
    const MutexLock guard(cache.mutex);
    // If another thread has stored a result meanwhile, try_emplace keeps that result.
    return cache.verdicts.try_emplace(callerToken, verdict).first->second;
}

std::string GetAnonymousStr(const std::string& input)
{
    std::string text;
    for (const char byte : input) {
        text += std::to_string(static_cast<int8_t>(byte));
    }
    // A text with fewer than six characters makes replace throw std::out_of_range.
    return text.replace(text.size() - MASKED_LENGTH, MASKED_LENGTH, STRING_MASK);
}

std::string GetAnonymousDeviceID(const std::string& deviceId)
{
    if (deviceId.size() < DEVICE_ID_MIN_LENGTH) {
        return SHORT_DEVICE_ID_MASK;
    }
    return deviceId.substr(0, DEVICE_ID_SHOWN_LENGTH) + DEVICE_ID_JOINER +
           deviceId.substr(deviceId.size() - DEVICE_ID_SHOWN_LENGTH);
}

std::vector<std::string> Split(const std::string& str, const std::string& sep)
{
    std::vector<std::string> parts;
    std::string rest = str;
    while (!rest.empty()) {
        const size_t end = rest.find(sep);
        if (end == std::string::npos) {
            parts.push_back(rest);
            break;
        }
        parts.push_back(rest.substr(0, end));
        rest.erase(0, end + sep.size());
    }
    return parts;
}

}  // namespace Vexo::NetManagerStandard::CommonUtils
