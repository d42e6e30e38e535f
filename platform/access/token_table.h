// TokenTable: the access tokens of this process. A token is issued when a user first matches a policy entry, and stands
// for that pair from then on. A new policy makes every token unknown except the process's own. Any thread. Filled by
// policy.cpp, read by accesstoken_kit.cpp.
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

// What a token stands for.
struct TokenFacts {
    ATokenTypeEnum type = TOKEN_SHELL;
    ATokenAplEnum privilegeLevel = APL_NORMAL;
    bool systemApp = false;
    std::vector<std::string> permissions;
    std::string origin;  // the policy entry
};

// A policy entry whose user or group name is resolved to a number. No value: the machine does not know the name.
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

    // Returns use(facts) for a known token, else the fallback. use runs with the table's lock held.
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
    const TokenFacts nobody_;  // of callers that match no entry
    std::vector<ResolvedEntry> entries_ GUARDED_BY(mutex_);
    AccessTokenID lastToken_ GUARDED_BY(mutex_) = SELF_TOKEN;
    std::map<std::pair<const TokenFacts*, uid_t>, AccessTokenID> issued_ GUARDED_BY(mutex_);
    std::map<AccessTokenID, const TokenFacts*> tokens_ GUARDED_BY(mutex_);
};

}  // namespace Vexo::Security
