#include "platform/base/check.h"

#include <cstdio>
#include <cstdlib>

namespace Vexo {

void AbortOnBrokenContract(const char* condition, const char* contract, const char* file, int line) noexcept
{
    // Writes to standard error instead of the log, because the log itself may be broken.
    std::fprintf(stderr, "%s:%d: contract broken: %s (%s)\n", file, line, contract, condition);
    std::abort();
}

}  // namespace Vexo
