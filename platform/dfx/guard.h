// RunGuarded: runs code from outside the platform (a callback, a task, a handler) and catches every exception. The
// exception is logged at error level, together with a name for the code that threw the exception. Thread-safe.
#pragma once

#include <exception>
#include <string>
#include <type_traits>

#include "platform/dfx/log.h"

namespace Vexo::QuviewDFX {

// Calls work(). Returns false if the call threw an exception. whose: a name for the log line, such as "task close", or
// a function that returns the name. That function is called only if an exception is logged.
template <typename Whose, typename Work>
bool RunGuarded(const LogLabel& label, const Whose& whose, const Work& work)
{
    const auto log = [&](const char* exception) {
        std::string name;
        if constexpr (std::is_invocable_v<const Whose&>) {
            name = whose();
        } else {
            name = whose;
        }
        LogError(label, "%{public}s ended by an exception: %{public}s", name, exception);
    };
    try {
        work();
        return true;
    } catch (const std::exception& exception) {
        log(exception.what());
    } catch (...) {
        log("unknown type");
    }
    return false;
}

}  // namespace Vexo::QuviewDFX
