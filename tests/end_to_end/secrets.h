// FindSecrets: the search for what must not be written. A Wi-Fi key or a private key has no place in a log, an event, a
// trace, an announcement or what a command prints.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace Vexo::EndToEnd {

// Looks through every file below folder, but those that keep keys (*.key, device-state.json) and product files, for
// each of the keys, plain, in hexadecimal and in Base64, and for the body of every private key below folder. Each
// finding says file, line and what is there, without the secret.
std::vector<std::string> FindSecrets(const std::filesystem::path& folder, const std::vector<std::string>& keys);

}  // namespace Vexo::EndToEnd
