#include "host/configuration.h"

#include <cjson/cJSON.h>
#include <sys/un.h>

#include <algorithm>
#include <memory>
#include <string_view>

#include "host/configuration_keys.h"
#include "platform/base/files.h"
#include "platform/base/text.h"

namespace Vexo::Host {
namespace {

constexpr size_t MAX_CONFIGURATION_BYTES = 64 * 1024;
constexpr size_t MAX_SHOWN_VALUE = 40;

struct JsonDeleter {
    void operator()(cJSON* value) const noexcept { cJSON_Delete(value); }
};
using JsonPtr = std::unique_ptr<cJSON, JsonDeleter>;

std::string Shown(const cJSON& value)
{
    char* text = cJSON_PrintUnformatted(&value);
    std::string shown = text != nullptr ? text : "the value";
    cJSON_free(text);
    if (shown.size() > MAX_SHOWN_VALUE) {
        shown = shown.substr(0, MAX_SHOWN_VALUE) + "…";
    }
    return shown;
}

// "line:column" of an offset, both from 1; the column counts bytes.
std::string PositionOf(std::string_view text, size_t offset)
{
    const std::string_view before = text.substr(0, offset);
    const auto line = std::count(before.begin(), before.end(), '\n') + 1;
    const size_t lineStart = before.rfind('\n') == std::string_view::npos ? 0 : before.rfind('\n') + 1;
    return std::to_string(line) + ":" + std::to_string(offset - lineStart + 1);
}

// Walks the document once, filling the configuration and collecting every fault.
class Parser {
public:
    explicit Parser(const std::filesystem::path& file) : file_(file) {}

    ConfigurationResult Run(const std::string& text)
    {
        const JsonPtr document = ParseJson(text);
        if (document != nullptr && cJSON_IsObject(document.get())) {
            Walk(*document, "");
            RequireAndDefault();
        } else if (document != nullptr) {
            result_.faults.push_back(file_.string() + ": " + Shown(*document) + " is not an object (one JSON object)");
        }
        return std::move(result_);
    }

private:
    JsonPtr ParseJson(const std::string& text)
    {
        const char* end = nullptr;
        JsonPtr document(cJSON_ParseWithLengthOpts(text.data(), text.size(), &end, 0));
        size_t offset = end != nullptr ? static_cast<size_t>(end - text.data()) : 0;
        if (document != nullptr) {
            // A NUL would end names and values early without a word.
            const size_t nul = text.find('\0');
            offset = nul != std::string::npos ? nul : text.find_first_not_of(" \t\r\n", offset);
            if (offset == std::string::npos) {
                return document;
            }
        }
        offset = std::min(offset, text.size());
        result_.faults.push_back(file_.string() + ":" + PositionOf(text, offset) +
                                 ": not JSON from here on (one JSON object)");
        return nullptr;
    }

    void Walk(const cJSON& object, const std::string& prefix)
    {
        std::vector<std::string> seen;
        for (const cJSON* member = object.child; member != nullptr; member = member->next) {
            const std::string name = prefix + member->string;
            if (std::find(seen.begin(), seen.end(), name) != seen.end()) {
                Fault(name, "given twice (once)");
                continue;
            }
            seen.push_back(name);
            if (const KeyRule* rule = FindKeyRule(name); rule != nullptr) {
                given_.push_back(name);
                Apply(*rule, *member);
            } else if (!IsSection(name)) {
                Unknown(name, prefix);
            } else if (cJSON_IsObject(member)) {
                Walk(*member, name + ".");
            } else {
                Fault(name, Shown(*member) + " is not an object (an object with " + KeysBelow(name) + ")");
            }
        }
    }

    void Apply(const KeyRule& rule, const cJSON& value)
    {
        const std::string wrong = rule.apply(value, file_.parent_path(), result_.configuration);
        if (!wrong.empty()) {
            Fault(rule.key.name, Shown(value) + " " + wrong + " (" + rule.key.allowed + ")");
        }
    }

    void Unknown(const std::string& name, const std::string& prefix)
    {
        std::vector<std::string> candidates;
        for (const KeyRule& rule : KeyRules()) {
            const std::string_view known = rule.key.name;
            candidates.emplace_back(known);
            if (known.find('.') != std::string_view::npos) {
                candidates.emplace_back(known.substr(0, known.find('.')));
            }
        }
        const std::string closest = ClosestOf(name, candidates);
        if (!closest.empty()) {
            Fault(name, "unknown key (did you mean \"" + closest + "\"?)");
        } else if (!prefix.empty()) {
            Fault(name, "unknown key (here: " + KeysBelow(prefix.substr(0, prefix.size() - 1)) + ")");
        } else {
            Fault(name, "unknown key (distnetd --help lists them)");
        }
    }

    static bool IsSection(const std::string& name)
    {
        const auto& rules = KeyRules();
        return std::any_of(rules.begin(), rules.end(), [&](const KeyRule& rule) {
            return std::string_view(rule.key.name).starts_with(name + ".");
        });
    }

    static std::string KeysBelow(const std::string& section)
    {
        std::string names;
        for (const KeyRule& rule : KeyRules()) {
            const std::string_view known = rule.key.name;
            if (known.starts_with(section + ".")) {
                names += (names.empty() ? "\"" : ", \"") + std::string(known.substr(section.size() + 1)) + "\"";
            }
        }
        return names;
    }

    void RequireAndDefault()
    {
        Configuration& configuration = result_.configuration;
        for (const KeyRule& rule : KeyRules()) {
            if (std::string_view(rule.key.fallback) == REQUIRED_KEY &&
                std::find(given_.begin(), given_.end(), rule.key.name) == given_.end()) {
                Fault(rule.key.name, std::string("missing (") + rule.key.allowed + ")");
            }
        }
        FillDerived(configuration);
        if (configuration.hotspotChannel != 0 && configuration.hotspotBand.empty()) {
            Fault("hotspot.channel", "a channel stands for nothing without its band (give \"hotspot.band\")");
        }
        constexpr size_t socketPathLimit = sizeof(sockaddr_un::sun_path) - 1;
        if (const size_t length = configuration.ipcSocket.string().size(); length > socketPathLimit) {
            Fault("ipc.socket", "the path has " + std::to_string(length) + " bytes (at most " +
                                    std::to_string(socketPathLimit) + "; give it, or a shorter \"state_dir\")");
        }
    }

    void Fault(const std::string& key, const std::string& what)
    {
        result_.faults.push_back(file_.string() + ": " + key + ": " + what);
    }

    const std::filesystem::path file_;
    ConfigurationResult result_;
    std::vector<std::string> given_;
};

}  // namespace

std::vector<ConfigurationKey> ConfigurationKeys()
{
    std::vector<ConfigurationKey> keys;
    for (const KeyRule& rule : KeyRules()) {
        keys.push_back(rule.key);
    }
    return keys;
}

ConfigurationResult LoadConfiguration(const std::filesystem::path& file)
{
    const Result<std::string> text = ReadWholeFile(file, MAX_CONFIGURATION_BYTES);
    if (!text) {
        return {{}, {text.Message()}};
    }
    return ParseConfiguration(text.Value(), file);
}

ConfigurationResult ParseConfiguration(const std::string& json, const std::filesystem::path& file)
{
    return Parser(file).Run(json);
}

}  // namespace Vexo::Host
