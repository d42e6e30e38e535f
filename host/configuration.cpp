#include "host/configuration.h"

#include <sys/un.h>

#include <algorithm>
#include <string_view>

#include "host/configuration_keys.h"
#include "platform/base/files.h"
#include "platform/base/json.h"
#include "platform/base/text.h"

namespace Vexo::Host {
namespace {

constexpr size_t MAX_CONFIGURATION_BYTES = 64 * 1024;
constexpr size_t MAX_SHOWN_VALUE = 40;

std::string Shown(const cJSON& value)
{
    std::string shown = JsonText(&value);
    if (shown.size() > MAX_SHOWN_VALUE) {
        shown = shown.substr(0, MAX_SHOWN_VALUE) + "…";
    }
    return shown;
}

// Walks the document once, filling the configuration and collecting every fault.
class Parser {
public:
    explicit Parser(const std::filesystem::path& file) : file_(file) {}

    ConfigurationResult Run(const std::string& text)
    {
        const Result<Json> document = ParseWholeJson(text);
        if (!document) {
            result_.faults.push_back(file_.string() + ":" + document.Message() + " (one JSON object)");
        } else if (const Json& value = document.Value(); cJSON_IsObject(value.get())) {
            Walk(*value, "");
            RequireAndDefault();
        } else {
            result_.faults.push_back(file_.string() + ": " + Shown(*value) + " is not an object (one JSON object)");
        }
        return std::move(result_);
    }

private:
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
