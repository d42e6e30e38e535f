// RunGuarded: runs code from outside the platform (a callback, a task, a handler) and catches every exception. An
// exception is logged at error level, with the name of the code that threw it. Any thread.
#pragma once

#include <exception>
#include <string>
#include <type_traits>

#include "platform/dfx/log.h"

namespace Vexo::QuviewDFX {

// whose: the name for the log line ("task close"), or a function that returns the name and is called only if an
// exception is logged. Returns false if work threw an exception.
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
