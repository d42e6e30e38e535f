// HealthCheck: the result of one check, which is shown as a line of `distnetctl doctor`. The daemon makes the checks.
// If the daemon does not answer, distnetctl itself makes the checks that need no daemon. Value type. message and advice
// contain no secret.
#pragma once

#include <optional>
#include <string>
#include <utility>

namespace Vexo::QuviewDFX {

struct HealthCheck {
    std::string name;          // one word, such as "identity"
    std::optional<bool> good;  // no value if the check was not made; message then says why
    std::string message;       // describes the state or the fault
    std::string advice;        // how to repair the fault, if possible with a command; may be empty
};

inline HealthCheck Healthy(std::string name, std::string message)
{
    return {std::move(name), true, std::move(message), {}};
}

inline HealthCheck Unhealthy(std::string name, std::string message, std::string advice)
{
    return {std::move(name), false, std::move(message), std::move(advice)};
}

inline HealthCheck NotChecked(std::string name, std::string message, std::string advice = {})
{
    return {std::move(name), std::nullopt, std::move(message), std::move(advice)};
}

}  // namespace Vexo::QuviewDFX
