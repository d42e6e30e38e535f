// The one table of the configuration's keys: what each allows, what holds without it, and where its value lives. The
// parser (configuration.cpp), --help and docs/configuration.md all follow it. Any thread.
#pragma once

#include <filesystem>

#include "host/configuration.h"
#include "platform/base/json_keys.h"

namespace Vexo::Host {

// Relative paths start from folder.
JsonKeys<Configuration> ConfigurationTable(const std::filesystem::path& folder);

}  // namespace Vexo::Host
