// "share.…" of the configuration (docs/configuration.md): what the owner of this device decides about sharing its
// network. Sharing (sharing.h) follows it. Value type; any thread.
#pragma once

#include <chrono>
#include <cstdint>

#include "interfaces/sharing_answers.h"

namespace Vexo::Host {

struct SharingSettings {
    ShareAllow allow = ShareAllow::ACCOUNT;  // "share.allow"
    uint8_t batteryFloorPercent = 0;         // "share.battery_floor": 0 to 100; 0: none
    uint64_t monthLimitMb = 0;               // "share.month_limit_mb": in 10^6 bytes; 0: none
    uint32_t monthFirstDay = 1;              // "share.month_first_day": 1 to 31
    std::chrono::seconds closesAfter{60};    // "share.close_after_s": from the end of the last lease
};

}  // namespace Vexo::Host
