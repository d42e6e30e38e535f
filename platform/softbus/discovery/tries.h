// Tries: the latest attempt of this run to connect to each address of each known device. People use it to find out why
// a device is not reached. At most MAX_TRIED_ADDRESSES attempts are kept for each device, in memory only. Thread-safe.
// No call blocks.
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
    // Records an attempt, and replaces the earlier attempt at the same address. answer: why the attempt failed, as text
    // for a person; empty: the device was reached. If there are too many attempts, the oldest is removed.
    void Record(const std::string& networkId, const PeerAddress& where, WallTime at, const std::string& answer)
        EXCLUDES(mutex_);
    // Returns the attempts at the device's addresses. The latest comes first.
    std::vector<AddressTried> Of(const std::string& networkId) const EXCLUDES(mutex_);

private:
    mutable Mutex mutex_;
    std::map<std::string, std::vector<AddressTried>> tries_ GUARDED_BY(mutex_);
};

}  // namespace Vexo::SoftBus
