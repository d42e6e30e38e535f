// TokenTable: the access tokens that this process has issued. A token is issued when a user first matches a policy
// entry. From then on it stands for that user and that entry. A new policy makes every token unknown, except the token
// of this process. Any thread. policy.cpp fills the table; accesstoken_kit.cpp reads it.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/access/policy.h"
#include "platform/base/mutex.h"
#include "platform/base/never_destroyed.h"
#include "platform/base/nocopyable.h"

namespace Vexo::Security {

inline constexpr AccessTokenID SELF_TOKEN = 1;

// The kind and the rights of the callers that have a token.
struct TokenFacts {
    ATokenTypeEnum type = TOKEN_SHELL;
    ATokenAplEnum privilegeLevel = APL_NORMAL;
    bool systemApp = false;
    std::vector<std::string> permissions;
    std::string origin;  // the policy entry, such as "group netdev"
};

// A policy entry whose user or group name is resolved to a number. A number has no value if the entry does not name it,
// or if the machine does not know the name.
struct ResolvedEntry {
    std::optional<uid_t> user;
    std::optional<gid_t> group;
    TokenFacts facts;
};

class TokenTable : public NoCopyable {
public:
    static TokenTable& Instance();

    void Install(std::vector<ResolvedEntry> entries);
    AccessTokenID Identify(const PeerCredentials& peer, bool& systemApp);

    // Calls the function use with the facts of the token and returns its result. Returns fallback for an unknown token.
    // The table's lock is held during the call.
    template <typename Result, typename Use>
    Result With(AccessTokenID token, Result fallback, Use use) const
    {
        const MutexLock lock(mutex_);
        const auto found = tokens_.find(token);
        return found == tokens_.end() ? fallback : use(*found->second);
    }

private:
    friend NeverDestroyed<TokenTable>;
    TokenTable();

    mutable Mutex mutex_;
    const TokenFacts self_;
    const TokenFacts nobody_;  // the facts of callers that match no entry
    std::vector<ResolvedEntry> entries_ GUARDED_BY(mutex_);
    AccessTokenID lastToken_ GUARDED_BY(mutex_) = SELF_TOKEN;
    std::map<std::pair<const TokenFacts*, uid_t>, AccessTokenID> issued_ GUARDED_BY(mutex_);
    std::map<AccessTokenID, const TokenFacts*> tokens_ GUARDED_BY(mutex_);
};

}  // namespace Vexo::Security
