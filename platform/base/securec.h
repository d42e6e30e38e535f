// Bounded copy and fill: the call fails, and copies nothing, when the count exceeds the destination (C11 Annex K
// semantics without its constraint handlers). Any thread; no state.
#pragma once

#include <cstddef>

namespace Vexo {

inline constexpr int SECUREC_OK = 0;
inline constexpr int SECUREC_INVALID = 22;    // a null pointer, or a destination of size 0
inline constexpr int SECUREC_TOO_LARGE = 34;  // count exceeds the destination size

// Copies count bytes into a destination of destMax bytes. Returns SECUREC_OK, SECUREC_INVALID or SECUREC_TOO_LARGE.
// The areas must not overlap. Copying 0 bytes into a destination of size 0 is SECUREC_INVALID.
int memcpy_s(void* dest, size_t destMax, const void* src, size_t count);

// Fills count bytes of a destination of destMax bytes with value. Returns the same codes as memcpy_s.
int memset_s(void* dest, size_t destMax, int value, size_t count);

}  // namespace Vexo
