// Tries: the latest try of this run at each address of each known device, for a person who looks for a fault. Memory
// only, at most MAX_TRIED_ADDRESSES of one device. Any thread. No call blocks.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "platform/base/clock.h"
#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"
#include "platform/softbus/softbus_service.h"
#include "platform/softbus/transport/transport.h"

namespace Vexo::SoftBus {

inline constexpr size_t MAX_TRIED_ADDRESSES = 8;

class Tries : public NoCopyable {
public:
    // answer: what came back in words; empty: the device was reached there. Replaces the earlier try at the address.
    // The oldest is forgotten when there are too many.
    void Record(const std::string& networkId, const PeerAddress& where, WallTime at, const std::string& answer)
        EXCLUDES(mutex_);
    // The latest try first.
    std::vector<WayTried> Of(const std::string& networkId) const EXCLUDES(mutex_);

private:
    mutable Mutex mutex_;
    std::map<std::string, std::vector<WayTried>> tries_ GUARDED_BY(mutex_);
};

}  // namespace Vexo::SoftBus
