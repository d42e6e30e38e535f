// The table of the configuration's keys: for each key its allowed values, its default and the member of Configuration
// that it sets. The parser (configuration.cpp), --help and docs/configuration.md use this table. Any thread may read
// it.
#pragma once

#include <filesystem>

#include "host/configuration.h"
#include "platform/base/json_keys.h"

namespace Vexo::Host {

// Returns the table. folder: the folder where relative paths in the configuration file start.
JsonKeys<Configuration> ConfigurationTable(const std::filesystem::path& folder);

}  // namespace Vexo::Host
