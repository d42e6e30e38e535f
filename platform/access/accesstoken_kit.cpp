#include "platform/access/accesstoken_kit.h"

#include <algorithm>

#include "platform/access/token_table.h"

namespace Vexo::Security {

ATokenTypeEnum AccessTokenKit::GetTokenTypeFlag(AccessTokenID tokenId)
{
    return TokenTable::Instance().With(tokenId, TOKEN_INVALID, [](const TokenFacts& facts) { return facts.type; });
}

int AccessTokenKit::VerifyAccessToken(AccessTokenID tokenId, const std::string& permissionName)
{
    return TokenTable::Instance().With(tokenId, PERMISSION_DENIED, [&permissionName](const TokenFacts& facts) {
        const bool listed =
            std::find(facts.permissions.begin(), facts.permissions.end(), permissionName) != facts.permissions.end();
        return listed ? PERMISSION_GRANTED : PERMISSION_DENIED;
    });
}

int AccessTokenKit::GetHapTokenInfo(AccessTokenID tokenId, HapTokenInfo& info)
{
    return TokenTable::Instance().With(tokenId, ACCESS_TOKEN_UNKNOWN, [tokenId, &info](const TokenFacts& facts) {
        if (facts.type != TOKEN_HAP) {
            return ACCESS_TOKEN_NOT_APPLICATION;
        }
        info = HapTokenInfo{facts.privilegeLevel, tokenId, facts.origin};
        return ACCESS_TOKEN_OK;
    });
}

}  // namespace Vexo::Security
