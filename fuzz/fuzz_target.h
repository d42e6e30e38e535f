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

}  // namespace Vexo::Fuzz
