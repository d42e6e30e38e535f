// HealthCheck: one thing that was checked, its state, and how to repair it: a line of `distnetctl doctor`. The
// daemon checks what it can see, distnetctl what is left when there is none. Value type; any thread. Neither text holds
// a secret.
#pragma once

#include <optional>
#include <string>
#include <utility>

namespace Vexo::QuviewDFX {

struct HealthCheck {
    std::string name;          // one word: "identity"
    std::optional<bool> good;  // none: not checked; the message says why
    std::string message;       // how it stands, or what is wrong
    std::string advice;        // how to repair it, with a command if there is one; may be empty
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
