// A fuzz target feeds one decoder with arbitrary bytes and requires what must hold for any of them. Each file below
// fuzz/ registers one; it is linked with fuzzer_main.cpp into a libFuzzer program of its own (scripts/fuzz), and with
// all others into the replay test, which feeds it damaged samples. One thread.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace Vexo::Fuzz {

struct Target {
    const char* name;                       // as scripts/fuzz takes it
    std::vector<std::string> (*samples)();  // valid inputs: what damaged ones are made from
    // True when the decoder accepted the input. Throws when a requirement does not hold, which ends a fuzz run.
    bool (*run)(std::string_view input);
};

// The targets that are linked in; complete once main() runs.
inline std::vector<Target>& Targets()
{
    static std::vector<Target> targets;
    return targets;
}

struct Registration {
    explicit Registration(const Target& target) { Targets().push_back(target); }
};

// Throws unless holds; what says what should have.
inline void Require(bool holds, const char* what)
{
    if (!holds) {
        throw std::logic_error(what);
    }
}

// Of a decoder that returns a Result and an encoder that is the way back: a refusal's message starts with what it is
// about, and what was read is written so that it reads as the same. Returns whether the input was read.
template <typename Decode, typename Encode>
bool ReadsBack(const std::string& input, const Decode& decode, const Encode& encode, const char* about)
{
    const auto value = decode(input);
    if (!value) {
        Require(!value.error().message.empty() && value.error().message.starts_with(about), "a refusal says why");
        return false;
    }
    const std::string text = encode(value.value());
    const auto again = decode(text);
    Require(again.has_value() && encode(again.value()) == text, "what was read is written as the same");
    return true;
}

}  // namespace Vexo::Fuzz
