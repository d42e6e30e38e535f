// Printable: the daemon's answers with texts that a terminal may show: hidden characters escaped
// (platform/base/utf8.h). Names in them come from other devices and from the air. Pure; any thread.
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

// Of any type that interfaces/host_answers_json.h lists the members of, or a list of them.
template <typename Answer>
Answer Printable(Answer answer)
{
    TextEscaper().Escape(answer);
    return answer;
}

}  // namespace Vexo::Ctl
