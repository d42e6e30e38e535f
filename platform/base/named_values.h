// Tables that give each value of a type its name, for JSON and for answers to callers. Each type of value has its own
// table. The tables are constant, so any thread may use them.
#pragma once

namespace Vexo {

template <typename Value>
struct NamedValue {
    const char* name;
    Value value;
};

// Returns the name of the value, or "unknown" if the table has no name for the value.
// names: any range of NamedValue.
template <typename Names, typename Value>
constexpr const char* NameOf(const Names& names, const Value& value)
{
    for (const auto& named : names) {
        if (named.value == value) {
            return named.name;
        }
    }
    return "unknown";
}

}  // namespace Vexo
