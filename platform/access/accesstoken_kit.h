// AccessTokenKit and TokenIdKit: return the type and the rights of the caller that has an access token. The IPC server
// gives each caller a token. The token depends on the caller's user and groups, as reported by the kernel, and on the
// access policy (platform/access/policy.h). All functions only read memory. Thread-safe.
#pragma once

#include <cstdint>
#include <string>

namespace Vexo::Security {

using AccessTokenID = uint32_t;  // 0: no token
using FullTokenID = uint64_t;    // bit 32 is set for a system application

enum ATokenTypeEnum : int32_t { TOKEN_INVALID = -1, TOKEN_HAP = 0, TOKEN_NATIVE = 1, TOKEN_SHELL = 2 };

// The privilege level of an application.
enum ATokenAplEnum : int32_t { APL_INVALID = 0, APL_NORMAL = 1, APL_SYSTEM_BASIC = 2, APL_SYSTEM_CORE = 3 };

enum PermissionState : int32_t { PERMISSION_DENIED = -1, PERMISSION_GRANTED = 0 };

enum AccessTokenResult : int32_t { ACCESS_TOKEN_OK = 0, ACCESS_TOKEN_UNKNOWN = 1, ACCESS_TOKEN_NOT_APPLICATION = 2 };

// The permission to change this device's connectivity. An application needs this permission to call the service
// (ability 1163) or the daemon (ability 1164). A native caller does not need the permission.
inline constexpr const char* CONNECTIVITY_INTERNAL_PERMISSION = "vexo.permission.CONNECTIVITY_INTERNAL";

struct HapTokenInfo {
    ATokenAplEnum apl = APL_INVALID;
    AccessTokenID tokenID = 0;
    std::string bundleName;  // the policy entry of the caller, such as "user alice"
};

class AccessTokenKit {
public:
    // Returns TOKEN_INVALID for an unknown token.
    static ATokenTypeEnum GetTokenTypeFlag(AccessTokenID tokenId);
    // Returns PERMISSION_GRANTED if the token's policy entry lists the permission, else PERMISSION_DENIED.
    static int VerifyAccessToken(AccessTokenID tokenId, const std::string& permissionName);
    // Returns an AccessTokenResult. Writes to info only on success.
    static int GetHapTokenInfo(AccessTokenID tokenId, HapTokenInfo& info);
};

class TokenIdKit {
public:
    static bool IsSystemAppByFullTokenID(FullTokenID tokenId) { return ((tokenId >> 32) & 1) != 0; }
};

}  // namespace Vexo::Security
