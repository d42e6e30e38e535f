// Words that stand for values in JSON and in answers: one table a kind of value. Constant data; any thread.
#pragma once

namespace Vexo {

template <typename Value>
struct NamedValue {
    const char* name;
    Value value;
};

// "unknown" for a value without a word. Names: any range of NamedValue.
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
