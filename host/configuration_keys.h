// The table of the configuration's keys: for each its allowed values, its default and the member of Configuration that
// it sets. The parser (configuration.cpp), --help and docs/configuration.md all follow this table. Any thread.
#pragma once

#include <filesystem>

#include "host/configuration.h"
#include "platform/base/json_keys.h"

namespace Vexo::Host {

// folder: where relative paths in the file start from.
JsonKeys<Configuration> ConfigurationTable(const std::filesystem::path& folder);

}  // namespace Vexo::Host
