// TokenTable: the access tokens that this process has issued. A token stands for one user and for the policy entry that
// the user matches, or for no entry. Identify issues a token for each new pair of user and entry. A new policy makes
// every token unknown, except the token of this process. Thread-safe. policy.cpp fills the table; accesstoken_kit.cpp
// reads it.
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

// The type and the rights of a caller that has a token.
struct TokenFacts {
    ATokenTypeEnum type = TOKEN_SHELL;
    ATokenAplEnum privilegeLevel = APL_NORMAL;
    bool systemApp = false;
    std::vector<std::string> permissions;
    std::string origin;  // the policy entry, such as "group netdev"
};

// A policy entry with its user or group as a number. user and group have no value if the entry does not contain them,
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

    // Passes the TokenFacts of the token to a function and returns the function's result. use: the function, which runs
    // with the table's lock held. fallback: the result for an unknown token.
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
    const TokenFacts nobody_;  // the rights of callers that match no policy entry
    std::vector<ResolvedEntry> entries_ GUARDED_BY(mutex_);
    AccessTokenID lastToken_ GUARDED_BY(mutex_) = SELF_TOKEN;
    std::map<std::pair<const TokenFacts*, uid_t>, AccessTokenID> issued_ GUARDED_BY(mutex_);
    std::map<AccessTokenID, const TokenFacts*> tokens_ GUARDED_BY(mutex_);
};

}  // namespace Vexo::Security
