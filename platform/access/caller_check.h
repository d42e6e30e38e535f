// CheckCaller: decides whether the current caller (IPCSkeleton) has a permission. Every permission check of the daemon
// uses CheckCaller. The code that calls CheckCaller writes the log lines and chooses the result codes. CheckCaller only
// reads memory. Thread-safe. Access tokens: platform/access/accesstoken_kit.h.
#pragma once

#include <string>

#include "platform/access/accesstoken_kit.h"

namespace Vexo::Security {

enum class CallerVerdict {
    GRANTED,      // a native caller, or an application that has the permission
    NO_NAME,      // the permission's name is empty; the caller was not checked
    WRONG_TYPE,   // a shell or an unknown token, which has no permission
    NOT_GRANTED,  // an application that lacks the permission or the required level
};

enum class RequiredLevel {
    ANY,     // every application that has the permission
    SYSTEM,  // only applications of level APL_SYSTEM_BASIC or APL_SYSTEM_CORE that have the permission
};

struct CallerCheck {
    CallerVerdict verdict = CallerVerdict::NO_NAME;
    AccessTokenID token = 0;
    ATokenTypeEnum type = TOKEN_INVALID;
};

CallerCheck CheckCaller(const std::string& permission, RequiredLevel level);

}  // namespace Vexo::Security
