// Tables of names for values, which JSON and answers use. One table for each type of value. Constant data; any thread.
#pragma once

namespace Vexo {

template <typename Value>
struct NamedValue {
    const char* name;
    Value value;
};

// Returns the name of the value, or "unknown" if the table has none. names: any range of NamedValue.
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
