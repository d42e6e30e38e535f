#include <gtest/gtest.h>
#include <unistd.h>

#include "platform/access/policy.h"

namespace Vexo::Security {
namespace {

constexpr const char* PERMISSION = CONNECTIVITY_INTERNAL_PERMISSION;

void InstallText(const std::string& json)
{
    Result<AccessPolicy> policy = AccessPolicy::Parse(json, "access.json");
    ASSERT_TRUE(policy) << policy.Message();
    InstallAccessPolicy(std::move(policy.Value()));
}

AccessTokenID TokenOf(uid_t user, gid_t group, std::vector<gid_t> groups = {})
{
    return IdentifyCaller(PeerCredentials{1, user, group, std::move(groups)}).tokenId;
}

TEST(AccessPolicyTest, FirstUserEntryThenFirstGroupEntryHolds)
{
    InstallText(R"({"entries": [
        {"group": 500, "token_type": "application", "privilege_level": 2, "system_app": true,
         "permissions": ["vexo.permission.CONNECTIVITY_INTERNAL"]},
        {"group": "501", "token_type": "application", "privilege_level": 3},
        {"user": "root", "token_type": "native", "system_app": true},
        {"user": 1000, "token_type": "shell"},
        {"user": 1000, "token_type": "native"},
        {"user": "nobody-of-this-name", "token_type": "native", "system_app": true},
        {"group": "no-group-of-this-name", "token_type": "native", "system_app": true}]})");
    const struct {
        const char* caller;
        PeerCredentials peer;
        ATokenTypeEnum type;
        ATokenAplEnum level;  // of an application
        bool systemApp;
        PermissionState permission;
        const char* origin;
    } table[] = {
        {"a user by name", {1, 0, 0, {}}, TOKEN_NATIVE, APL_INVALID, true, PERMISSION_DENIED, ""},
        {"the user's entry before its group's",
         {1, 0, 500, {500}},
         TOKEN_NATIVE,
         APL_INVALID,
         true,
         PERMISSION_DENIED,
         ""},
        {"the first of two entries", {1, 1000, 500, {500}}, TOKEN_SHELL, APL_INVALID, false, PERMISSION_DENIED, ""},
        {"a primary group", {1, 7, 500, {}}, TOKEN_HAP, APL_SYSTEM_BASIC, true, PERMISSION_GRANTED, "group 500"},
        {"a supplementary group",
         {1, 7, 8, {9, 501}},
         TOKEN_HAP,
         APL_SYSTEM_CORE,
         false,
         PERMISSION_DENIED,
         "group 501"},
        {"the earlier of its groups",
         {1, 7, 501, {500}},
         TOKEN_HAP,
         APL_SYSTEM_BASIC,
         true,
         PERMISSION_GRANTED,
         "group 500"},
        {"nobody", {1, 7, 8, {9}}, TOKEN_SHELL, APL_INVALID, false, PERMISSION_DENIED, ""},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.caller);
        const CallerIdentity caller = IdentifyCaller(row.peer);
        EXPECT_EQ(caller.uid, row.peer.uid);
        EXPECT_EQ(static_cast<uint32_t>(caller.fullTokenId), caller.tokenId);
        EXPECT_EQ(TokenIdKit::IsSystemAppByFullTokenID(caller.fullTokenId), row.systemApp);
        EXPECT_EQ(AccessTokenKit::GetTokenTypeFlag(caller.tokenId), row.type);
        EXPECT_EQ(AccessTokenKit::VerifyAccessToken(caller.tokenId, PERMISSION), row.permission);
        EXPECT_EQ(AccessTokenKit::VerifyAccessToken(caller.tokenId, "another"), PERMISSION_DENIED);
        HapTokenInfo info;
        const bool application = AccessTokenKit::GetHapTokenInfo(caller.tokenId, info) == ACCESS_TOKEN_OK;
        EXPECT_EQ(application, row.type == TOKEN_HAP);
        EXPECT_EQ(info.apl, row.level);
        EXPECT_EQ(info.bundleName, row.origin);
    }
}

TEST(AccessPolicyTest, TokenStaysWithUserAndEntryUntilAnotherPolicyIsInstalled)
{
    const char* const policy = R"({"entries": [{"group": 500, "token_type": "application"}]})";
    InstallText(policy);
    const AccessTokenID token = TokenOf(7, 500);
    EXPECT_EQ(TokenOf(7, 8, {500, 9}), token);
    EXPECT_NE(TokenOf(8, 500), token);
    EXPECT_NE(TokenOf(7, 8), token);
    InstallText(policy);
    HapTokenInfo info;
    EXPECT_EQ(AccessTokenKit::GetTokenTypeFlag(token), TOKEN_INVALID);
    EXPECT_EQ(AccessTokenKit::GetHapTokenInfo(token, info), ACCESS_TOKEN_UNKNOWN);
    EXPECT_NE(TokenOf(7, 500), token);
}

TEST(AccessPolicyTest, ProcessItselfIsNativeUnderAnyPolicy)
{
    const CallerIdentity before = IdentifySelf();
    InstallText(R"({"entries": []})");
    const CallerIdentity self = IdentifySelf();
    EXPECT_EQ(self.pid, ::getpid());
    EXPECT_EQ(self.tokenId, before.tokenId);
    EXPECT_TRUE(TokenIdKit::IsSystemAppByFullTokenID(self.fullTokenId));
    EXPECT_EQ(AccessTokenKit::GetTokenTypeFlag(self.tokenId), TOKEN_NATIVE);
    EXPECT_EQ(AccessTokenKit::GetTokenTypeFlag(TokenOf(0, 0)), TOKEN_SHELL);
}

TEST(AccessPolicyTest, ShippedDefaultLetsRootAndNetdevInAndTheFallbackRootAlone)
{
    InstallAccessPolicy(AccessPolicy::ShippedDefault());
    EXPECT_EQ(AccessTokenKit::GetTokenTypeFlag(TokenOf(0, 0)), TOKEN_NATIVE);
    EXPECT_EQ(AccessTokenKit::GetTokenTypeFlag(TokenOf(7, 65533)), TOKEN_SHELL);
    const AccessPolicy shipped = AccessPolicy::ShippedDefault();
    ASSERT_EQ(shipped.entries.size(), 2U);
    const PolicyEntry& netdev = shipped.entries[1];
    EXPECT_EQ(netdev.group, "netdev");
    EXPECT_EQ(netdev.tokenType, TOKEN_HAP);
    EXPECT_EQ(netdev.privilegeLevel, APL_SYSTEM_BASIC);
    EXPECT_TRUE(netdev.systemApp);
    EXPECT_EQ(netdev.permissions, std::vector<std::string>{"vexo.permission.CONNECTIVITY_INTERNAL"});
    ASSERT_EQ(AccessPolicy::RootOnly().entries.size(), 1U);
    EXPECT_EQ(AccessPolicy::RootOnly().entries[0].user, "root");
}

TEST(AccessPolicyTest, FaultIsNamedWithFileEntryKeyAndWhatIsAllowed)
{
    const struct {
        const char* json;
        const char* message;
    } table[] = {
        {"", "not valid JSON (line 1)"},
        {"{\"entries\":\n[}", "not valid JSON (line 2)"},
        {R"({"entries": []} trailing)", "not valid JSON (line 1)"},
        {"[]", R"(must be an object with the one key "entries")"},
        {"{}", "entries: must be given once, as an array of objects"},
        {R"({"entries": {}})", "entries: must be given once, as an array of objects"},
        {R"({"entries": [], "entries": []})", "entries: given twice"},
        {R"({"entry": []})", "entry: unknown key; allowed is entries"},
        {R"({"entries": [1]})", "entries[0]: must be an object"},
        {R"({"entries": [{"user": 1, "token_type": "shell"}, {"token_type": "shell"}]})",
         "entries[1]: must name either a user or a group"},
        {R"({"entries": [{"user": "a", "group": "b", "token_type": "shell"}]})",
         "entries[0]: must name either a user or a group"},
        {R"({"entries": [{"user": ""}]})", "entries[0].user: must be a name or a number from 0 to 4294967294"},
        {R"({"entries": [{"user": -1}]})", "entries[0].user: must be a name or a number from 0 to 4294967294"},
        {R"({"entries": [{"group": 1.5}]})", "entries[0].group: must be a name or a number from 0 to 4294967294"},
        {R"({"entries": [{"group": 4294967295}]})",
         "entries[0].group: must be a name or a number from 0 to 4294967294"},
        {R"({"entries": [{"user": 1}]})",
         R"(entries[0].token_type: missing; must be "application", "native" or "shell")"},
        {R"({"entries": [{"token_type": "root"}]})",
         R"(entries[0].token_type: must be "application", "native" or "shell")"},
        {R"({"entries": [{"privilege_level": 0}]})",
         "entries[0].privilege_level: must be 1 (normal), 2 (system basic) or 3 (system core)"},
        {R"({"entries": [{"privilege_level": "2"}]})",
         "entries[0].privilege_level: must be 1 (normal), 2 (system basic) or 3 (system core)"},
        {R"({"entries": [{"system_app": 1}]})", "entries[0].system_app: must be true or false"},
        {R"({"entries": [{"permissions": "all"}]})", "entries[0].permissions: must be an array of permission names"},
        {R"({"entries": [{"permissions": [""]}]})", "entries[0].permissions: must be an array of permission names"},
        {R"({"entries": [{"user": 1, "user": 2}]})", "entries[0].user: given twice"},
        {R"({"entries": [{"users": 1}]})",
         "entries[0].users: unknown key; allowed are user, group, token_type, privilege_level, system_app, "
         "permissions"},
    };
    for (const auto& row : table) {
        const Result<AccessPolicy> policy = AccessPolicy::Parse(row.json, "access.json");
        ASSERT_FALSE(policy) << row.json;
        EXPECT_EQ(policy.Message(), std::string("access.json: ") + row.message) << row.json;
    }
}

TEST(AccessPolicyTest, MissingFileIsNamed)
{
    const Result<AccessPolicy> policy = AccessPolicy::Load("/nonexistent/access.json");
    ASSERT_FALSE(policy);
    EXPECT_NE(policy.Message().find("/nonexistent/access.json"), std::string::npos);
}

}  // namespace
}  // namespace Vexo::Security
