// Fuzzes the parser of the access policy file.
#include "platform/access/policy.h"

#include "fuzz/fuzz_target.h"

namespace Vexo::Security {
namespace {

std::vector<std::string> Samples()
{
    return {R"({"entries": [{"user": "root", "token_type": "native", "system_app": true},
                {"group": 4, "token_type": "application", "privilege_level": 2, "permissions": ["a.permission"]}]})"};
}

bool Run(std::string_view input)
{
    const auto policy = AccessPolicy::Parse(std::string(input), "access.json");
    if (!policy) {
        Fuzz::Require(policy.error().message.starts_with("access.json"), "a refusal names the file");
        return false;
    }
    for (const PolicyEntry& entry : policy.value().entries) {
        Fuzz::Require(entry.user.empty() != entry.group.empty(), "an entry is for a user or for a group");
        Fuzz::Require(entry.tokenType >= TOKEN_HAP && entry.tokenType <= TOKEN_SHELL, "a token type is known");
        Fuzz::Require(entry.privilegeLevel >= APL_NORMAL && entry.privilegeLevel <= APL_SYSTEM_CORE,
                      "a privilege level is known");
        for (const std::string& permission : entry.permissions) {
            Fuzz::Require(!permission.empty(), "a permission has a name");
        }
    }
    return true;
}

const Fuzz::Registration REGISTRATION({"access_policy", Samples, Run});

}  // namespace
}  // namespace Vexo::Security
