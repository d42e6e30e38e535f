// Contains one log call. CMakeLists.txt defines the arguments of that call as CALL. A test checks whether this file
// compiles.
#include "platform/dfx/log.h"

void LogOnce()
{
    using namespace Vexo::QuviewDFX;
    constexpr LogLabel LABEL{LOG_DOMAIN_PLATFORM, "Test"};
    LogInfo(LABEL, CALL);
}
