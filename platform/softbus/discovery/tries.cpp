#include "platform/softbus/discovery/tries.h"

#include <algorithm>

namespace Vexo::SoftBus {

void Tries::Record(const std::string& networkId, const PeerAddress& where, WallTime at, const std::string& answer)
{
    const MutexLock lock(mutex_);
    std::vector<WayTried>& tries = tries_[networkId];
    std::erase_if(tries, [&](const WayTried& earlier) {
        return earlier.transport == where.transport && earlier.address == where.address;
    });
    tries.insert(tries.begin(), {where.transport, where.address, at, answer});
    tries.resize(std::min(tries.size(), MAX_TRIED_ADDRESSES));
}

std::vector<WayTried> Tries::Of(const std::string& networkId) const
{
    const MutexLock lock(mutex_);
    const auto tries = tries_.find(networkId);
    return tries == tries_.end() ? std::vector<WayTried>{} : tries->second;
}

}  // namespace Vexo::SoftBus
