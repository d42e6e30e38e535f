// The table of the configuration's keys: for each key its allowed values, its default and the member of Configuration
// that it sets. The parser (configuration.cpp), --help and docs/configuration.md use this table. Any thread.
#pragma once

#include <filesystem>

#include "host/configuration.h"
#include "platform/base/json_keys.h"

namespace Vexo::Host {

// folder: the base of relative paths in the file.
JsonKeys<Configuration> ConfigurationTable(const std::filesystem::path& folder);

}  // namespace Vexo::Host
