// NetInfo: the connection state of every network type. A plain struct.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace Vexo::NetManagerStandard {

inline constexpr size_t NET_TYPE_COUNT = 7;

// Indexed by EventFwk::NetType; the values are those of EventFwk::NetConnState
// (platform/events/common_event_support.h).
struct NetInfo {
    std::array<int32_t, NET_TYPE_COUNT> connStates{};
};

}  // namespace Vexo::NetManagerStandard
