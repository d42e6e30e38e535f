// One log call a value of CASE. Case 0 must compile; the tests in CMakeLists.txt say with which error the others do
// not.
#include "platform/dfx/log.h"

void LogOnce()
{
    using namespace Vexo::QuviewDFX;
    constexpr LogLabel LABEL{LOG_DOMAIN_PLATFORM, "Test"};
#if CASE == 0
    LogInfo(LABEL, "%{public}d %{private}s %u %{public}lu", 1, "text", 2U, uint64_t{3});
#elif CASE == 1
    LogInfo(LABEL, "%{public}d %{public}d", 1);
#elif CASE == 2
    LogInfo(LABEL, "%{public}d", 1, 2);
#elif CASE == 3
    LogInfo(LABEL, "%{public}s", 1);
#elif CASE == 4
    LogInfo(LABEL, "%{public}u", 1);
#elif CASE == 5
    LogInfo(LABEL, "%{public}d", uint64_t{1});
#elif CASE == 6
    LogInfo(LABEL, "%{public}x", 1);
#elif CASE == 7
    LogInfo(LABEL, "%{secret}d", 1);
#elif CASE == 8
    LogInfo(LABEL, "100%");
#elif CASE == 9
    LogInfo(LABEL, "%{public}d", 1.5);
#endif
}
