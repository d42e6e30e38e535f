#include "platform/tasks/ffrt_function.h"

#include <exception>

#include "platform/dfx/log.h"

void ffrt_function_t::Run(const std::string& taskName) const
{
    constexpr Vexo::QuviewDFX::LogLabel LABEL{Vexo::QuviewDFX::LOG_DOMAIN_PLATFORM, "Tasks"};
    try {
        if (callable) {
            callable();
        }
    } catch (const std::exception& exception) {
        Vexo::QuviewDFX::LogError(LABEL, "task %{public}s ended by an exception: %{public}s", taskName,
                                  exception.what());
    } catch (...) {
        Vexo::QuviewDFX::LogError(LABEL, "task %{public}s ended by an exception of unknown type", taskName);
    }
}
