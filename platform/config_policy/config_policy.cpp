#include "platform/config_policy/config_policy.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <system_error>
#include <utility>

#include "platform/base/mutex.h"
#include "platform/base/never_destroyed.h"

namespace Vexo {

namespace {

struct Roots {
    Mutex mutex;
    std::vector<std::filesystem::path> lowestFirst GUARDED_BY(mutex){"/usr/share/distnet", "/etc/distnet"};
};

Roots& PolicyRoots()
{
    static NeverDestroyed<Roots> roots;
    return roots.value;
}

bool StaysBelowItsRoot(const std::filesystem::path& suffix)
{
    return !suffix.empty() && suffix.is_relative() &&
           std::none_of(suffix.begin(), suffix.end(), [](const auto& part) { return part == ".."; });
}

}  // namespace

char* GetOneCfgFile(const char* pathSuffix, char* buffer, size_t bufferLength)
{
    const std::filesystem::path suffix(pathSuffix != nullptr ? pathSuffix : "");
    if (buffer == nullptr || !StaysBelowItsRoot(suffix)) {
        return nullptr;
    }
    std::vector<std::filesystem::path> roots;
    {
        const MutexLock lock(PolicyRoots().mutex);
        roots.assign(PolicyRoots().lowestFirst.rbegin(), PolicyRoots().lowestFirst.rend());
    }
    for (const std::filesystem::path& root : roots) {  // highest priority first
        const std::string path = (root / suffix).string();
        std::error_code ignored;
        if (std::filesystem::is_regular_file(path, ignored)) {
            if (path.size() >= std::min(bufferLength, MAX_POLICY_PATH_LENGTH)) {
                return nullptr;
            }
            std::memcpy(buffer, path.c_str(), path.size() + 1);
            return buffer;
        }
    }
    return nullptr;
}

void SetConfigPolicyRoots(std::vector<std::filesystem::path> roots)
{
    const MutexLock lock(PolicyRoots().mutex);
    PolicyRoots().lowestFirst = std::move(roots);
}

}  // namespace Vexo
