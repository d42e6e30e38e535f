// Bounded copy and fill: a call fails, and copies or fills nothing, when the count exceeds the size of the destination.
// Unlike in C11 Annex K, a failed call leaves the destination unchanged and calls no constraint handler. The functions
// are thread-safe.
#pragma once

#include <cstddef>

namespace Vexo {

inline constexpr int SECUREC_OK = 0;
inline constexpr int SECUREC_INVALID = 22;    // a null pointer, or a destination of size 0
inline constexpr int SECUREC_TOO_LARGE = 34;  // the count exceeds the size of the destination

// Copies count bytes into a destination of destMax bytes. Returns SECUREC_OK, SECUREC_INVALID or SECUREC_TOO_LARGE.
// Source and destination must not overlap. When destMax is 0, returns SECUREC_INVALID even if count is 0.
int memcpy_s(void* dest, size_t destMax, const void* src, size_t count);

// Sets the first count bytes of a destination of destMax bytes to the given value. Returns the same codes as memcpy_s.
int memset_s(void* dest, size_t destMax, int value, size_t count);

}  // namespace Vexo
