#include <limits>

#include "platform/access/policy.h"
#include "platform/base/json_keys.h"

namespace Vexo::Security {
namespace {

constexpr size_t MAX_POLICY_SIZE = 256 * 1024;
constexpr int64_t MAX_ID = std::numeric_limits<uint32_t>::max() - 1;  // the largest uid_t and gid_t value means "none"

constexpr NamedValue<ATokenTypeEnum> TOKEN_TYPES[] = {
    {"application", TOKEN_HAP}, {"native", TOKEN_NATIVE}, {"shell", TOKEN_SHELL}};

std::string WrongName(const std::string& name)
{
    return name.empty() ? "is empty" : "";
}

// Reads a user or group, which is a name, a JSON number or a string of digits.
JsonKind<std::string> NameOrNumberKind()
{
    const auto read = [](const cJSON& json, std::string& out) {
        std::string wrong = cJSON_IsString(&json) ? WrongName(json.valuestring) : WholeNumberFault(json, 0, MAX_ID);
        if (wrong.empty()) {
            out = cJSON_IsString(&json) ? json.valuestring : std::to_string(static_cast<uint32_t>(json.valuedouble));
        }
        return wrong;
    };
    return ValueKind<std::string>("a name or a number from 0 to " + std::to_string(MAX_ID), read,
                                  [](const std::string& name) { return Json(cJSON_CreateString(name.c_str())); });
}

const JsonKeys<AccessPolicy>& PolicyKeys()
{
    using Entry = PolicyEntry;
    static const JsonKeys<Entry> entry(
        {
            {"user", NameOrNumberKind(), &Entry::user},
            {"group", NameOrNumberKind(), &Entry::group},
            {"token_type", NamedKind(TOKEN_TYPES), &Entry::tokenType, Required()},
            {"privilege_level",
             WholeNumberKind<ATokenAplEnum>(APL_NORMAL, APL_SYSTEM_CORE, "1 normal, 2 system basic, 3 system core"),
             &Entry::privilegeLevel},
            {"system_app", FlagKind(), &Entry::systemApp},
            {"permissions", ListKind(TextKind("a permission's name", WrongName), "a list of permission names"),
             &Entry::permissions},
        },
        [](const Entry& made) {
            return made.user.empty() == made.group.empty() ? "must name either a user or a group" : "";
        });
    static const JsonKeys<AccessPolicy> policy(
        {{"entries", ListKind(entry, "a list of objects"), &AccessPolicy::entries, Required()}});
    return policy;
}

}  // namespace

Result<AccessPolicy> AccessPolicy::Parse(const std::string& json, const std::string& fileName)
{
    return PolicyKeys().Parse(json, fileName);
}

Result<AccessPolicy> AccessPolicy::Load(const std::filesystem::path& file)
{
    return PolicyKeys().Load(file, MAX_POLICY_SIZE);
}

}  // namespace Vexo::Security
