#include "platform/access/token_table.h"

#include <algorithm>

namespace Vexo::Security {
namespace {

bool IsMemberOf(const PeerCredentials& peer, gid_t group)
{
    return peer.gid == group || std::find(peer.groups.begin(), peer.groups.end(), group) != peer.groups.end();
}

const TokenFacts& Match(const std::vector<ResolvedEntry>& entries, const PeerCredentials& peer,
                        const TokenFacts& nobody)
{
    for (const ResolvedEntry& entry : entries) {
        if (entry.user == peer.uid) {
            return entry.facts;
        }
    }
    for (const ResolvedEntry& entry : entries) {
        if (entry.group && IsMemberOf(peer, *entry.group)) {
            return entry.facts;
        }
    }
    return nobody;
}

}  // namespace

TokenTable& TokenTable::Instance()
{
    static NeverDestroyed<TokenTable> table;
    return table.value;
}

TokenTable::TokenTable() : self_{TOKEN_NATIVE, APL_SYSTEM_CORE, true, {}, "this process"}, nobody_{}
{
    const MutexLock lock(mutex_);
    tokens_.emplace(SELF_TOKEN, &self_);
}

void TokenTable::Install(std::vector<ResolvedEntry> entries)
{
    const MutexLock lock(mutex_);
    issued_.clear();
    tokens_.clear();
    tokens_.emplace(SELF_TOKEN, &self_);
    entries_ = std::move(entries);
}

AccessTokenID TokenTable::Identify(const PeerCredentials& peer, bool& systemApp)
{
    const MutexLock lock(mutex_);
    const TokenFacts& facts = Match(entries_, peer, nobody_);
    systemApp = facts.systemApp;
    const auto [place, isNew] = issued_.try_emplace({&facts, peer.uid}, lastToken_ + 1);
    if (isNew) {
        tokens_.emplace(++lastToken_, &facts);
    }
    return place->second;
}

}  // namespace Vexo::Security
