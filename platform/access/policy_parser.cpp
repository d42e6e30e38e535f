#include <cmath>
#include <limits>
#include <set>

#include "platform/access/policy.h"
#include "platform/base/files.h"
#include "platform/base/json.h"

namespace Vexo::Security {
namespace {

constexpr size_t MAX_POLICY_SIZE = 256 * 1024;

// Where a complaint is about: the file, and the entry by its index once there is one.
class Place {
public:
    explicit Place(std::string text, const char* separator = ": ") : text_(std::move(text)), separator_(separator) {}

    Place Entry(size_t index) const { return Place(text_ + ": entries[" + std::to_string(index) + "]", "."); }
    Error Fault(const std::string& what) const { return Error{text_ + ": " + what}; }
    Error Key(const std::string& key, const std::string& what) const
    {
        return Error{text_ + separator_ + key + ": " + what};
    }

private:
    std::string text_;
    const char* separator_;
};

// A user or group: a name, or a number as JSON number or digits.
Result<std::string> ParseName(const Place& place, const cJSON& value)
{
    if (cJSON_IsString(&value) && value.valuestring[0] != '\0') {
        return std::string(value.valuestring);
    }
    const double number = value.valuedouble;
    if (cJSON_IsNumber(&value) && number >= 0 && number < std::numeric_limits<uint32_t>::max() &&
        std::floor(number) == number) {
        return std::to_string(static_cast<uint32_t>(number));
    }
    return place.Key(value.string, "must be a name or a number from 0 to 4294967294");
}

Result<void> ParseTokenType(const Place& place, const cJSON& value, PolicyEntry& entry)
{
    const std::string name = cJSON_IsString(&value) ? value.valuestring : "";
    if (name == "application") {
        entry.tokenType = TOKEN_HAP;
    } else if (name == "native") {
        entry.tokenType = TOKEN_NATIVE;
    } else if (name == "shell") {
        entry.tokenType = TOKEN_SHELL;
    } else {
        return place.Key(value.string, R"(must be "application", "native" or "shell")");
    }
    return {};
}

Result<void> ParsePrivilegeLevel(const Place& place, const cJSON& value, PolicyEntry& entry)
{
    for (const ATokenAplEnum level : {APL_NORMAL, APL_SYSTEM_BASIC, APL_SYSTEM_CORE}) {
        if (cJSON_IsNumber(&value) && value.valuedouble == static_cast<double>(level)) {
            entry.privilegeLevel = level;
            return {};
        }
    }
    return place.Key(value.string, "must be 1 (normal), 2 (system basic) or 3 (system core)");
}

Result<void> ParsePermissions(const Place& place, const cJSON& value, PolicyEntry& entry)
{
    bool good = cJSON_IsArray(&value) != 0;
    for (const cJSON* name = good ? value.child : nullptr; name != nullptr && good; name = name->next) {
        good = cJSON_IsString(name) && name->valuestring[0] != '\0';
        if (good) {
            entry.permissions.emplace_back(name->valuestring);
        }
    }
    return good ? Result<void>() : place.Key(value.string, "must be an array of permission names");
}

Result<void> ParseMember(const Place& place, const cJSON& member, PolicyEntry& entry)
{
    const std::string key = member.string;
    if (key == "user" || key == "group") {
        Result<std::string> name = ParseName(place, member);
        if (!name) {
            return name.TakeError();
        }
        (key == "user" ? entry.user : entry.group) = std::move(name.Value());
        return {};
    }
    if (key == "token_type") {
        return ParseTokenType(place, member, entry);
    }
    if (key == "privilege_level") {
        return ParsePrivilegeLevel(place, member, entry);
    }
    if (key == "system_app") {
        entry.systemApp = cJSON_IsTrue(&member) != 0;
        return cJSON_IsBool(&member) ? Result<void>() : place.Key(key, "must be true or false");
    }
    if (key == "permissions") {
        return ParsePermissions(place, member, entry);
    }
    return place.Key(key, "unknown key; allowed are user, group, token_type, privilege_level, system_app, permissions");
}

Result<PolicyEntry> ParseEntry(const Place& place, const cJSON& json)
{
    if (!cJSON_IsObject(&json)) {
        return place.Fault("must be an object");
    }
    PolicyEntry entry;
    std::set<std::string> seen;
    for (const cJSON* member = json.child; member != nullptr; member = member->next) {
        if (!seen.insert(member->string).second) {
            return place.Key(member->string, "given twice");
        }
        Result<void> parsed = ParseMember(place, *member, entry);
        if (!parsed) {
            return parsed.TakeError();
        }
    }
    if (seen.count("user") + seen.count("group") != 1) {
        return place.Fault("must name either a user or a group");
    }
    if (seen.count("token_type") == 0) {
        return place.Key("token_type", R"(missing; must be "application", "native" or "shell")");
    }
    return entry;
}

}  // namespace

Result<AccessPolicy> AccessPolicy::Parse(const std::string& json, const std::string& fileName)
{
    const Place place(fileName);
    const Result<Json> parsed = ParseWholeJson(json);
    if (!parsed) {
        return Error{fileName + ":" + parsed.Message()};
    }
    const Json& document = parsed.Value();
    if (!cJSON_IsObject(document.get())) {
        return place.Fault(R"(must be an object with the one key "entries")");
    }
    const cJSON* entries = nullptr;
    for (const cJSON* member = document->child; member != nullptr; member = member->next) {
        if (std::string(member->string) != "entries") {
            return place.Key(member->string, "unknown key; allowed is entries");
        }
        if (entries != nullptr) {
            return place.Key("entries", "given twice");
        }
        entries = member;
    }
    if (!cJSON_IsArray(entries)) {
        return place.Key("entries", "must be given once, as an array of objects");
    }
    AccessPolicy policy;
    for (const cJSON* item = entries->child; item != nullptr; item = item->next) {
        Result<PolicyEntry> entry = ParseEntry(place.Entry(policy.entries.size()), *item);
        if (!entry) {
            return entry.TakeError();
        }
        policy.entries.push_back(std::move(entry.Value()));
    }
    return policy;
}

Result<AccessPolicy> AccessPolicy::Load(const std::filesystem::path& file)
{
    Result<std::string> text = ReadWholeFile(file, MAX_POLICY_SIZE);
    if (!text) {
        return text.TakeError();
    }
    return Parse(text.Value(), file.string());
}

}  // namespace Vexo::Security
