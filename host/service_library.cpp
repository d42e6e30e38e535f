#include "host/service_library.h"

#include <dlfcn.h>

#include "platform/ability/ability_ids.h"
#include "platform/ability/system_ability.h"
#include "platform/dfx/log.h"

namespace Vexo::Host {
namespace {

namespace fs = std::filesystem;

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "Host"};
constexpr const char* FILE_NAME = "libdistnet_service.so";

}  // namespace

fs::path FindServiceLibrary(const fs::path& configured)
{
    std::error_code error;
    if (!configured.empty()) {
        return fs::absolute(configured, error);
    }
    const fs::path folder = fs::read_symlink("/proc/self/exe", error).parent_path();
    const fs::path beside = folder / FILE_NAME;
    return fs::exists(beside, error) ? beside : (folder.parent_path() / "lib" / FILE_NAME);
}

ServiceLibrary::ServiceLibrary(fs::path path) : path_(std::move(path)) {}

bool ServiceLibrary::Open()
{
    if (!opened_) {
        // The library is never closed, because its singletons and threads outlive each stop of the ability.
        if (dlopen(path_.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE) == nullptr) {
            const char* cause = dlerror();
            QuviewDFX::LogError(LABEL, "the service cannot be loaded: %{public}s",
                                cause != nullptr ? cause : path_.c_str());
            return false;
        }
        opened_ = true;
    }
    if (SystemAbility::FindRegistered(COMM_DISTRIBUTED_NET_ABILITY_ID) == nullptr) {
        QuviewDFX::LogError(LABEL, "%{public}s is not the service: it did not register ability %{public}d",
                            path_.native(), COMM_DISTRIBUTED_NET_ABILITY_ID);
        return false;
    }
    return true;
}

}  // namespace Vexo::Host
