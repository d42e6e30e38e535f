// A fuzz target passes arbitrary bytes to one decoder and checks what must hold for every input. Each .cpp file in the
// folders below fuzz/ registers one target. The target is linked twice: with fuzzer_main.cpp into its own libFuzzer
// program (scripts/fuzz), and with all other targets into the replay test, which runs the targets on damaged samples.
// One thread.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace Vexo::Fuzz {

struct Target {
    const char* name;                       // the name of the target as an argument of scripts/fuzz
    std::vector<std::string> (*samples)();  // returns valid inputs, from which damaged inputs are made
    // Passes the input to the decoder and returns true if the decoder accepted it. Throws if a requirement does not
    // hold, which ends a fuzz run.
    bool (*run)(std::string_view input);
};

// Returns the targets that are linked into this program. The list is complete when main() starts.
inline std::vector<Target>& Targets()
{
    static std::vector<Target> targets;
    return targets;
}

struct Registration {
    explicit Registration(const Target& target) { Targets().push_back(target); }
};

// Throws std::logic_error if `holds` is false. what: the exception's text, which names the requirement.
inline void Require(bool holds, const char* what)
{
    if (!holds) {
        throw std::logic_error(what);
    }
}

// Checks a decoder that returns a Result, and the encoder for the decoded values. Returns whether the decoder accepts
// the input. The encoded text of an accepted input must decode and encode to the same text again. about: the text with
// which the error message for a refused input must start.
template <typename Decode, typename Encode>
bool RoundTrips(const std::string& input, const Decode& decode, const Encode& encode, const char* about)
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
