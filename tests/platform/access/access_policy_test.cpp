#include <gtest/gtest.h>

#include "platform/access/policy.h"

namespace Vexo::Security {
namespace {

constexpr const char* PERMISSION = CONNECTIVITY_INTERNAL_PERMISSION;

std::string Describe(const CallerIdentity& caller)
{
    const ATokenTypeEnum type = AccessTokenKit::GetTokenTypeFlag(caller.tokenId);
    std::string text = type == TOKEN_NATIVE ? "native" : type == TOKEN_SHELL ? "shell" : "unknown";
    HapTokenInfo info;
    if (AccessTokenKit::GetHapTokenInfo(caller.tokenId, info) == ACCESS_TOKEN_OK && type == TOKEN_HAP) {
        text = "application of level " + std::to_string(info.apl) + " by " + info.bundleName;
    }
    text += TokenIdKit::IsSystemAppByFullTokenID(caller.fullTokenId) ? ", system app" : "";
    return text + (AccessTokenKit::VerifyAccessToken(caller.tokenId, PERMISSION) == 0 ? ", granted" : "");
}

TEST(AccessPolicyTest, FirstUserEntryWinsThenFirstGroupEntry)
{
    InstallAccessPolicy(AccessPolicy::Parse(R"({"entries": [
        {"group": 500, "token_type": "application", "privilege_level": 2, "system_app": true,
         "permissions": ["vexo.permission.CONNECTIVITY_INTERNAL"]},
        {"group": "501", "token_type": "application", "privilege_level": 3},
        {"user": "root", "token_type": "native", "system_app": true},
        {"user": 1000, "token_type": "shell"},
        {"user": 1000, "token_type": "native"},
        {"user": "nobody-of-this-name", "token_type": "native", "system_app": true},
        {"group": "no-group-of-this-name", "token_type": "native", "system_app": true}]})",
                                            "access.json")
                            .value());
    const struct {
        const char* caller;
        PeerCredentials peer;
        const char* is;
    } table[] = {
        {"a user by name", {1, 0, 0, {}}, "native, system app"},
        {"the first of its two entries, before its group's", {1, 1000, 500, {500}}, "shell"},
        {"a primary group", {1, 7, 500, {}}, "application of level 2 by group 500, system app, granted"},
        {"a supplementary group", {1, 7, 8, {9, 501}}, "application of level 3 by group 501"},
        {"the earlier of its groups", {1, 7, 501, {500}}, "application of level 2 by group 500, system app, granted"},
        {"nobody", {1, 7, 8, {9}}, "shell"},
    };
    for (const auto& row : table) {
        const CallerIdentity caller = IdentifyCaller(row.peer);
        EXPECT_EQ(Describe(caller), row.is) << row.caller;
        EXPECT_EQ(caller.uid, row.peer.uid);
        EXPECT_EQ(static_cast<uint32_t>(caller.fullTokenId), caller.tokenId);
        EXPECT_EQ(AccessTokenKit::VerifyAccessToken(caller.tokenId, "another"), PERMISSION_DENIED);
    }
}

TEST(AccessPolicyTest, DefaultAllowsRootAndNetdevAndNewPolicyInvalidatesTokens)
{
    const AccessTokenID older = IdentifyCaller({1, 0, 0, {}}).tokenId;
    EXPECT_NE(AccessTokenKit::GetTokenTypeFlag(older), TOKEN_INVALID);
    AccessPolicy shipped = AccessPolicy::ShippedDefault();
    ASSERT_EQ(shipped.entries.size(), 2U);
    EXPECT_EQ(shipped.entries[1].group, "netdev");
    shipped.entries[1].group = "500";  // A machine may have no group "netdev".
    InstallAccessPolicy(shipped);
    EXPECT_EQ(AccessTokenKit::GetTokenTypeFlag(older), TOKEN_INVALID);
    EXPECT_EQ(Describe(IdentifyCaller({1, 0, 0, {}})), "native, system app");
    EXPECT_EQ(Describe(IdentifyCaller({1, 7, 500, {}})), "application of level 2 by group 500, system app, granted");
    EXPECT_EQ(Describe(IdentifyCaller({1, 7, 65533, {}})), "shell");
    ASSERT_EQ(AccessPolicy::RootOnly().entries.size(), 1U);
    EXPECT_EQ(AccessPolicy::RootOnly().entries[0].user, "root");
}

TEST(AccessPolicyTest, FaultNamesFileEntryKeyAndAllowedValues)
{
    const std::string name = "(a name or a number from 0 to 4294967294)";
    const std::string either = "entries.0: must name either a user or a group";
    const std::string level = "(1 to 3; 1 normal, 2 system basic, 3 system core)";
    const auto entry = [](const char* members) {
        return std::string(R"({"entries": [{"token_type": "shell", )") + members + "}]}";
    };
    const std::pair<std::string, std::string> table[] = {
        {entry(R"("system_app": false)"), either},
        {entry(R"("user": "a", "group": "b")"), either},
        {entry(R"("user": "")"), "entries.0.user: \"\" is empty " + name},
        {entry(R"("user": -1)"), "entries.0.user: -1 is out of range " + name},
        {entry(R"("group": 4294967295)"), "entries.0.group: 4294967295 is out of range " + name},
        {entry(R"("user": 1, "privilege_level": 0)"), "entries.0.privilege_level: 0 is out of range " + level},
        {entry(R"("user": 1, "privilege_level": 4)"), "entries.0.privilege_level: 4 is out of range " + level},
        {entry(R"("user": 1, "permissions": [""])"), "entries.0.permissions.0: \"\" is empty (a permission's name)"},
    };
    for (const auto& [json, message] : table) {
        const Result<AccessPolicy> policy = AccessPolicy::Parse(json, "access.json");
        ASSERT_FALSE(policy) << json;
        EXPECT_EQ(policy.error().message, "access.json: " + message) << json;
    }
}

}  // namespace
}  // namespace Vexo::Security
