// The table of keys of device-state.json, from which everything about a key follows. Used by device_state*.cpp only.
// The table is made once and constant from then on: any thread.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "backends/simulated/device_state.h"

namespace Vexo::Simulated {

// A value as it stands in a JSON document. NotScalar: a phrase for what stands there instead ("an object").
struct NotScalar {
    const char* what;
};
using StateValue = std::variant<bool, double, std::string, NotScalar>;

struct StateKey {
    enum class Kind : uint8_t { BOOLEAN, CHOICE, NUMBER, TEXT };

    std::string name;
    std::string help;
    Kind kind = Kind::BOOLEAN;
    std::vector<std::string> choices;  // CHOICE: the text of value 0, 1, …
    int64_t min = 0;                   // NUMBER: the value; TEXT: the length in bytes of a text that is not empty
    int64_t max = 0;
    bool secret = false;
    bool isSsid = false;            // any bytes, shown and written as ssid_text.h says
    bool omittedByDefault = false;  // left out of a written file while it has its default
    // Access to the member: numbers for all kinds but TEXT (a bool is 0 or 1).
    std::function<int32_t(const DeviceState&)> number;
    std::function<void(DeviceState&, int32_t)> setNumber;
    std::function<std::string&(DeviceState&)> text;

    std::string Allowed() const;
    std::string Show(const DeviceState& state) const;  // as a person types it; a secret in full
    Result<void> Assign(DeviceState& state, const StateValue& value) const;
    // The value that a typed text stands for: what Assign takes.
    StateValue FromText(std::string_view typed) const;
};

const std::vector<StateKey>& StateKeys();
const StateKey* FindStateKey(std::string_view name);
// "sims" and "sims.0" are groups of "sims.0.state"; "sims" is a list.
bool IsStateGroup(std::string_view name);
bool IsStateList(std::string_view name);
// The error for a name that is no key, with the closest one that is.
Error UnknownStateKey(std::string_view name);

}  // namespace Vexo::Simulated
