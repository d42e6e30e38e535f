// The settings of sharing: the keys "share.…" of the configuration (docs/configuration.md). Sharing (sharing.h) uses
// them. Any thread may use these value types.
#pragma once

#include <chrono>
#include <cstdint>

#include "interfaces/sharing_answers.h"

namespace Vexo::Host {

inline constexpr uint64_t BYTES_OF_MB = 1'000'000;

struct SharingSettings {
    ShareAllow allow = ShareAllow::ACCOUNT;  // "share.allow"
    uint8_t batteryFloorPercent = 0;         // "share.battery_floor": 0 to 100; 0: no floor
    uint64_t monthLimitMb = 0;               // "share.month_limit_mb": in units of BYTES_OF_MB; 0: no limit
    uint32_t monthFirstDay = 1;              // "share.month_first_day": 1 to 31
    std::chrono::seconds closesAfter{60};    // "share.close_after_s": pause after the end of the last lease
};

}  // namespace Vexo::Host
