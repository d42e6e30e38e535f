// The one table of the configuration's keys: what each allows, what holds without it, and how a value reaches the
// Configuration. The parser (configuration.cpp), --help and docs/configuration.md all follow it. Constant data; any
// thread.
#pragma once

#include <cjson/cJSON.h>

#include <filesystem>
#include <string>
#include <vector>

#include "host/configuration.h"

namespace Vexo::Host {

// The fallback of a key that must be given.
inline constexpr const char* REQUIRED_KEY = "required";

struct KeyRule {
    ConfigurationKey key;
    // Stores the value; relative paths start from folder. Empty on success, else what is wrong with the value ("is not
    // a number"), and nothing is stored.
    std::string (*apply)(const cJSON& value, const std::filesystem::path& folder, Configuration& out);
};

const std::vector<KeyRule>& KeyRules();
// Null for a name that is no key.
const KeyRule* FindKeyRule(const std::string& name);

// Gives the paths that follow from state_dir their values, where the file gave none.
void FillDerived(Configuration& configuration);

}  // namespace Vexo::Host
