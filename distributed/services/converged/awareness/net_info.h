// NetInfo: a plain struct with the connection state of every network type.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace Vexo::NetManagerStandard {

inline constexpr size_t NET_TYPE_COUNT = 7;

// The index of connStates is an EventFwk::NetType. Each value is an EventFwk::NetConnState
// (platform/events/common_event_support.h).
struct NetInfo {
    std::array<int32_t, NET_TYPE_COUNT> connStates{};
};

}  // namespace Vexo::NetManagerStandard
