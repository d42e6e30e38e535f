#include "platform/base/securec.h"

#include <cstring>

namespace Vexo {

int memcpy_s(void* dest, size_t destMax, const void* src, size_t count)
{
    if (dest == nullptr || src == nullptr || destMax == 0) {
        return SECUREC_INVALID;
    }
    if (count > destMax) {
        return SECUREC_TOO_LARGE;
    }
    std::memcpy(dest, src, count);
    return SECUREC_OK;
}

int memset_s(void* dest, size_t destMax, int value, size_t count)
{
    if (dest == nullptr || destMax == 0) {
        return SECUREC_INVALID;
    }
    if (count > destMax) {
        return SECUREC_TOO_LARGE;
    }
    std::memset(dest, value, count);
    return SECUREC_OK;
}

}  // namespace Vexo
