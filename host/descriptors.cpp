#include "host/descriptors.h"

#include <sys/resource.h>

#include <algorithm>

namespace Vexo::Host {

size_t RaiseDescriptorLimit()
{
    constexpr rlim_t WANTED = MAX_LOCAL_CLIENTS + OWN_DESCRIPTORS;
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) {
        return OWN_DESCRIPTORS;
    }
    if (limit.rlim_cur < WANTED) {
        const rlimit raised{std::min(WANTED, limit.rlim_max), limit.rlim_max};
        if (::setrlimit(RLIMIT_NOFILE, &raised) == 0) {
            limit = raised;
        }
    }
    return static_cast<size_t>(std::min(limit.rlim_cur, WANTED));
}

Ipc::ShareLimits SharesWithin(size_t descriptorLimit)
{
    constexpr size_t RESERVED = 64;
    Ipc::ShareLimits shares;
    shares.connections =
        std::min(MAX_LOCAL_CLIENTS,
                 descriptorLimit > 2 * OWN_DESCRIPTORS ? descriptorLimit - OWN_DESCRIPTORS : descriptorLimit / 2);
    shares.reserved = std::min(RESERVED, shares.connections / 4);
    return shares;
}

}  // namespace Vexo::Host
