// Compiles the one log call that CMakeLists.txt names, to see whether it compiles.
#include "platform/dfx/log.h"

void LogOnce()
{
    using namespace Vexo::QuviewDFX;
    constexpr LogLabel LABEL{LOG_DOMAIN_PLATFORM, "Test"};
    LogInfo(LABEL, CALL);
}
