// LAST_SECOND: the largest time that is accepted from a file or another device, in seconds since 1970.
#pragma once

#include <cstdint>

namespace Vexo {

// The end of the year 2261. WallTime (clock.h) counts nanoseconds in 64 bits, and ends in April 2262.
inline constexpr int64_t LAST_SECOND = 9'214'646'399;

}  // namespace Vexo
