// CheckCaller: the one decision behind every check of a permission: may the caller that IPCSkeleton names do this? Each
// caller of CheckCaller writes the log lines and results of its own interface. Look-ups in memory; any thread. What a
// token is: platform/access/accesstoken_kit.h.
#pragma once

#include <string>

#include "platform/access/accesstoken_kit.h"

namespace Vexo::Security {

enum class CallerVerdict {
    GRANTED,      // a native caller, or an application that was granted the permission
    NO_NAME,      // the permission has no name; the caller was not looked up
    WRONG_TYPE,   // a shell, or a token that no policy made: refused whatever the permission
    NOT_GRANTED,  // an application without the permission, or of too low a level
};

enum class RequiredLevel {
    ANY,     // every application that was granted the permission
    SYSTEM,  // of these, applications of a system level (APL_SYSTEM_BASIC or APL_SYSTEM_CORE)
};

struct CallerCheck {
    CallerVerdict verdict = CallerVerdict::NO_NAME;
    AccessTokenID token = 0;
    ATokenTypeEnum type = TOKEN_INVALID;
};

CallerCheck CheckCaller(const std::string& permission, RequiredLevel level);

}  // namespace Vexo::Security
