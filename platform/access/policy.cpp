#include "platform/access/policy.h"

#include <unistd.h>

#include "platform/access/token_table.h"
#include "platform/base/number.h"
#include "platform/base/user_database.h"

namespace Vexo::Security {
namespace {

// Returns the uid or gid that a policy entry gives as a name or as a number. Returns no value for an empty text or an
// unknown name. find: the function that resolves a name (FindUser or FindGroup).
std::optional<uint32_t> ResolveId(const std::string& nameOrNumber, std::optional<uint32_t> (*find)(const std::string&))
{
    const std::optional<uint32_t> number = ParseNumber<uint32_t>(nameOrNumber);
    return number || nameOrNumber.empty() ? number : find(nameOrNumber);
}

}  // namespace

AccessPolicy AccessPolicy::RootOnly()
{
    return AccessPolicy{
        {PolicyEntry{.user = "root", .group = {}, .tokenType = TOKEN_NATIVE, .systemApp = true, .permissions = {}}}};
}

AccessPolicy AccessPolicy::ShippedDefault()
{
    AccessPolicy policy = RootOnly();
    policy.entries.push_back(PolicyEntry{.user = {},
                                         .group = "netdev",
                                         .tokenType = TOKEN_HAP,
                                         .privilegeLevel = APL_SYSTEM_BASIC,
                                         .systemApp = true,
                                         .permissions = {CONNECTIVITY_INTERNAL_PERMISSION}});
    return policy;
}

void InstallAccessPolicy(AccessPolicy policy)
{
    std::vector<ResolvedEntry> entries;
    for (PolicyEntry& entry : policy.entries) {
        const std::string origin = entry.user.empty() ? "group " + entry.group : "user " + entry.user;
        entries.push_back(ResolvedEntry{
            ResolveId(entry.user, FindUser), ResolveId(entry.group, FindGroup),
            TokenFacts{entry.tokenType, entry.privilegeLevel, entry.systemApp, std::move(entry.permissions), origin}});
    }
    TokenTable::Instance().Install(std::move(entries));
}

CallerIdentity IdentifyCaller(const PeerCredentials& peer)
{
    constexpr FullTokenID SYSTEM_APP = FullTokenID{1} << 32;
    bool systemApp = false;
    const AccessTokenID token = TokenTable::Instance().Identify(peer, systemApp);
    return CallerIdentity{peer.pid, peer.uid, token, (systemApp ? SYSTEM_APP : 0) | token};
}

CallerIdentity IdentifySelf()
{
    constexpr FullTokenID SYSTEM_APP = FullTokenID{1} << 32;
    return CallerIdentity{::getpid(), ::getuid(), SELF_TOKEN, SYSTEM_APP | SELF_TOKEN};
}

}  // namespace Vexo::Security
