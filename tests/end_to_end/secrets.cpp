#include "tests/end_to_end/secrets.h"

#include <openssl/evp.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <sstream>
#include <utility>

#include "platform/base/hex.h"
#include "tests/end_to_end/process.h"

namespace Vexo::EndToEnd {

namespace {

constexpr size_t PEM_LINE = 64;

using Forbidden = std::vector<std::pair<std::string, std::string>>;  // the text and the kind of each secret

void AddKey(Forbidden& forbidden, const std::string& key)
{
    const std::string lower = HexOf(std::vector<uint8_t>(key.begin(), key.end()));
    std::string upper = lower;
    std::transform(lower.begin(), lower.end(), upper.begin(), [](unsigned char digit) { return std::toupper(digit); });
    // The last group of four characters also depends on the bytes after the key, so the search leaves this group out.
    std::string base64(4 * (key.size() / 3 + 1) + 1, '\0');
    EVP_EncodeBlock(reinterpret_cast<unsigned char*>(base64.data()), reinterpret_cast<const unsigned char*>(key.data()),
                    static_cast<int>(key.size()));
    base64.resize(4 * (key.size() / 3));
    for (const std::string& form : {key, lower, upper, base64}) {
        forbidden.emplace_back(form, "a Wi-Fi key");
    }
}

// Adds the full lines of the key's PEM text, which contain the secret number. Leaves out the short last line, which is
// the end of the public key, because a certificate may contain the public key, too.
void AddPrivateKey(Forbidden& forbidden, const std::filesystem::path& file)
{
    std::istringstream lines(ReadText(file));
    for (std::string line; std::getline(lines, line);) {
        if (line.size() == PEM_LINE) {
            forbidden.emplace_back(line, "a private key (" + file.filename().string() + ")");
        }
    }
}

}  // namespace

std::vector<std::string> FindSecrets(const std::filesystem::path& folder, const std::vector<std::string>& keys)
{
    Forbidden forbidden;
    for (const std::string& key : keys) {
        AddKey(forbidden, key);
    }
    std::vector<std::filesystem::path> files;
    for (auto entry = std::filesystem::recursive_directory_iterator(folder); entry != end(entry); ++entry) {
        const std::string name = entry->path().filename();
        if (name == "product") {
            entry.disable_recursion_pending();
        } else if (name.ends_with(".key")) {
            AddPrivateKey(forbidden, entry->path());
        } else if (entry->is_regular_file() && name != "device-state.json") {
            files.push_back(entry->path());
        }
    }
    std::vector<std::string> findings;
    for (const std::filesystem::path& file : files) {
        std::istringstream lines(ReadText(file));
        size_t number = 1;
        for (std::string line; std::getline(lines, line); ++number) {
            for (const auto& [text, what] : forbidden) {
                if (line.find(text) != std::string::npos) {
                    findings.push_back(std::filesystem::relative(file, folder).string() + ":" + std::to_string(number) +
                                       ": holds " + what);
                }
            }
        }
    }
    return findings;
}

}  // namespace Vexo::EndToEnd
