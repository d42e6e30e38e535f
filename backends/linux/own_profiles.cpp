#include "backends/linux/own_profiles.h"

#include <array>
#include <system_error>
#include <utility>

#include "platform/base/files.h"
#include "platform/base/json.h"
#include "platform/dfx/log.h"

namespace Vexo::Linux {
namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "OwnProfiles"};
constexpr size_t MAX_FILE_BYTES = 65536;
constexpr mode_t FILE_MODE = 0600;

constexpr std::array<std::pair<const char*, std::string NetworkChange::*>, 3> TEXTS{
    {{"profile", &NetworkChange::profile},
     {"activation", &NetworkChange::activation},
     {"previous", &NetworkChange::previous}}};
constexpr std::array<std::pair<const char*, bool NetworkChange::*>, 2> FLAGS{
    {{"hotspot", &NetworkChange::isHotspot}, {"our_profile", &NetworkChange::isOurProfile}}};

std::string Serialize(const std::vector<NetworkChange>& changes)
{
    const Json document(cJSON_CreateArray());
    for (const NetworkChange& change : changes) {
        cJSON* const entry = cJSON_CreateObject();
        for (const auto& [name, member] : TEXTS) {
            AddText(entry, name, change.*member);
        }
        for (const auto& [name, member] : FLAGS) {
            cJSON_AddBoolToObject(entry, name, change.*member);
        }
        cJSON_AddItemToArray(document.get(), entry);
    }
    return IndentedJson(document.get());
}

}  // namespace

Result<std::vector<NetworkChange>> ParseNetworkChanges(const std::string& json)
{
    const Json document = ParseJson(json);
    if (!cJSON_IsArray(document.get())) {
        return Error{"not a JSON array"};
    }
    std::vector<NetworkChange> changes;
    const cJSON* entry = nullptr;
    cJSON_ArrayForEach(entry, document.get())
    {
        const std::string where = "[" + std::to_string(changes.size()) + "].";
        NetworkChange change;
        for (const auto& [name, member] : TEXTS) {
            const cJSON* const item = cJSON_GetObjectItemCaseSensitive(entry, name);
            if (!cJSON_IsString(item)) {
                return Error{where + name + ": must be a text"};
            }
            change.*member = item->valuestring;
        }
        for (const auto& [name, member] : FLAGS) {
            const cJSON* const item = cJSON_GetObjectItemCaseSensitive(entry, name);
            if (!cJSON_IsBool(item)) {
                return Error{where + name + ": must be true or false"};
            }
            change.*member = cJSON_IsTrue(item) != 0;
        }
        changes.push_back(std::move(change));
    }
    return changes;
}

OwnProfiles::OwnProfiles(const std::filesystem::path& stateDir) : file_(stateDir / NETWORK_CHANGES_FILE)
{
    std::error_code ignored;
    if (!std::filesystem::exists(file_, ignored)) {
        return;
    }
    const Result<std::string> text = ReadWholeFile(file_, MAX_FILE_BYTES);
    Result<std::vector<NetworkChange>> changes = text ? ParseNetworkChanges(text.Value()) : Error{text.Message()};
    if (!changes) {
        QuviewDFX::LogError(LABEL, "%{public}s is damaged, what it named is found by its mark only: %{public}s",
                            file_.string(), changes.Message());
        return;
    }
    changes_ = std::move(changes.Value());
}

void OwnProfiles::Note(const NetworkChange& change)
{
    std::erase_if(changes_, [&](const NetworkChange& known) { return known.profile == change.profile; });
    changes_.push_back(change);
    Save();
}

void OwnProfiles::Forget(const std::string& profile)
{
    if (std::erase_if(changes_, [&](const NetworkChange& known) { return known.profile == profile; }) != 0) {
        Save();
    }
}

void OwnProfiles::Save() const
{
    if (const Result<void> written = WriteFileAtomically(file_, Serialize(changes_), FILE_MODE); !written) {
        QuviewDFX::LogError(LABEL, "after a crash nothing would be taken back: %{public}s", written.Message());
    }
}

}  // namespace Vexo::Linux
