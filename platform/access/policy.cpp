#include "platform/access/policy.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>

#include "platform/access/token_table.h"

namespace Vexo::Security {
namespace {

// The number that a text of digits is.
std::optional<uint32_t> AsNumber(const std::string& text)
{
    uint32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool whole = error == std::errc() && end == text.data() + text.size();
    return whole ? std::optional<uint32_t>(number) : std::nullopt;
}

// Calls one of getpwnam_r(3) and getgrnam_r(3) with a buffer that is large enough. Null when there is no such name.
template <typename Record, typename LookUp>
const Record* FindByName(LookUp lookUp, const std::string& name, Record& record, std::vector<char>& buffer)
{
    constexpr size_t LARGEST_BUFFER = 1024 * 1024;
    Record* found = nullptr;
    buffer.resize(4096);
    while (lookUp(name.c_str(), &record, buffer.data(), buffer.size(), &found) == ERANGE &&
           buffer.size() < LARGEST_BUFFER) {
        buffer.resize(buffer.size() * 2);
    }
    return found;
}

std::optional<uid_t> UserNumber(const std::string& user)
{
    if (const std::optional<uint32_t> number = AsNumber(user); number || user.empty()) {
        return number;
    }
    passwd record{};
    std::vector<char> buffer;
    const passwd* found = FindByName(::getpwnam_r, user, record, buffer);
    return found != nullptr ? std::optional<uid_t>(found->pw_uid) : std::nullopt;
}

std::optional<gid_t> GroupNumber(const std::string& groupName)
{
    if (const std::optional<uint32_t> number = AsNumber(groupName); number || groupName.empty()) {
        return number;
    }
    group record{};
    std::vector<char> buffer;
    const group* found = FindByName(::getgrnam_r, groupName, record, buffer);
    return found != nullptr ? std::optional<gid_t>(found->gr_gid) : std::nullopt;
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
            UserNumber(entry.user), GroupNumber(entry.group),
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
