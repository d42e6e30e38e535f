// FindSecrets: searches the files of a test for secrets. Wi-Fi keys and private keys must not appear in logs, events,
// traces, announcements or the output of commands.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace Vexo::EndToEnd {

// Searches every file below folder for each of the keys as text, in hexadecimal and in Base64. Also searches for the
// text of each private key that is stored below folder. Skips product files and files that keep keys (*.key,
// device-state.json). Each finding names the file, the line and the kind of secret, but not the secret.
std::vector<std::string> FindSecrets(const std::filesystem::path& folder, const std::vector<std::string>& keys);

}  // namespace Vexo::EndToEnd
