// Printable: escapes the hidden characters (platform/base/utf8.h) in all texts of an answer from the daemon. Without
// this, the texts could be harmful on a terminal, because names in them come from other devices and from Wi-Fi
// networks. Pure functions; any thread.
#pragma once

#include <string>
#include <utility>

#include "interfaces/host_answers_json.h"
#include "platform/base/utf8.h"

namespace Vexo::Ctl {

class TextEscaper {
public:
    template <typename Value>
    void operator()(const char*, Value& value)
    {
        Escape(value);
    }
    template <typename Value>
    void Derived(const char*, const Value&)
    {
    }
    template <typename Value>
    void Escape(Value& value)
    {
        if constexpr (std::same_as<Value, std::string>) {
            value = EscapeHidden(value);
        } else if constexpr (Host::Optional<Value>) {
            if (value) {
                Escape(*value);
            }
        } else if constexpr (Host::List<Value>) {
            for (auto& item : value) {
                Escape(item);
            }
        } else if constexpr (requires { ForEachMember(*this, value); }) {
            ForEachMember(*this, value);
        }
    }
};

// Printable returns the answer with all its texts escaped. Answer: a type that has a function ForEachMember in
// interfaces/host_answers_json.h, or a list of such a type.
template <typename Answer>
Answer Printable(Answer answer)
{
    TextEscaper().Escape(answer);
    return answer;
}

}  // namespace Vexo::Ctl
