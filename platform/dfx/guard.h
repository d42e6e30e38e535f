// RunGuarded: runs what comes from outside the platform (a callback, a task, a handler) and lets no exception out: one
// line at error level says whose it was, and its caller goes on. Any thread.
#pragma once

#include <exception>
#include <string>
#include <type_traits>

#include "platform/dfx/log.h"

namespace Vexo::QuviewDFX {

// whose: what the log line names, or a function that makes it, which is called only when it is needed ("task close").
// False when the work let an exception out.
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
