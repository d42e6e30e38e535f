#include "platform/softbus/discovery/tries.h"

#include <algorithm>

namespace Vexo::SoftBus {

void Tries::Record(const std::string& networkId, const PeerAddress& where, WallTime at, const std::string& answer)
{
    const MutexLock lock(mutex_);
    std::vector<AddressTried>& tries = tries_[networkId];
    std::erase_if(tries, [&](const AddressTried& earlier) {
        return earlier.transport == where.transport && earlier.address == where.address;
    });
    tries.insert(tries.begin(), {where.transport, where.address, at, answer});
    tries.resize(std::min(tries.size(), MAX_TRIED_ADDRESSES));
}

std::vector<AddressTried> Tries::Of(const std::string& networkId) const
{
    const MutexLock lock(mutex_);
    const auto tries = tries_.find(networkId);
    return tries == tries_.end() ? std::vector<AddressTried>{} : tries->second;
}

}  // namespace Vexo::SoftBus
