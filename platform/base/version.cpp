#include "platform/base/version.h"

namespace Vexo {

const char* DistNetVersion()
{
    return DISTNET_VERSION;
}

}  // namespace Vexo
