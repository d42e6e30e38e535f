// The access policy: maps the user and the groups of a caller to a caller type (application, native or shell) and to
// permissions. The policy is read once at start from a JSON file:
//   {"entries": [{"user": "root", "token_type": "native", "system_app": true},
//                {"group": "netdev", "token_type": "application", "privilege_level": 2, "system_app": true,
//                 "permissions": ["vexo.permission.CONNECTIVITY_INTERNAL"]}]}
// Keys of an entry:
//   "user" or "group"   exactly one of them, a name or a number
//   "token_type"        "application", "native" (has every permission) or "shell" (has no permission)
//   "privilege_level"   1 to 3; default 1
//   "system_app"        default false
//   "permissions"       default none
// The first entry with the caller's user applies. If there is none, the first entry with one of the caller's groups
// applies. Every other caller is a shell. An entry whose name the machine does not know matches no caller.
// Load reads the disk. InstallAccessPolicy reads the user database; the host calls it once, before the IPC server
// starts. The other functions only use memory. Thread-safe.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "platform/access/accesstoken_kit.h"
#include "platform/base/result.h"
#include "platform/ipc/ipc_skeleton.h"

namespace Vexo::Security {

struct PolicyEntry {
    std::string user;  // either user or group is set, never both
    std::string group;
    ATokenTypeEnum tokenType = TOKEN_SHELL;
    ATokenAplEnum privilegeLevel = APL_NORMAL;
    bool systemApp = false;
    std::vector<std::string> permissions;
};

struct AccessPolicy {
    std::vector<PolicyEntry> entries;

    // Returns the default policy. The user root is a native caller with the system-app flag. The group netdev is an
    // application of privilege level 2 with the system-app flag and CONNECTIVITY_INTERNAL_PERMISSION.
    static AccessPolicy ShippedDefault();
    // Returns a policy that gives access to root only, for use when the policy file cannot be used.
    static AccessPolicy RootOnly();
    // Load reads the policy from a file, Parse from a JSON text. An error of either function names the file, the entry,
    // the key and the allowed values.
    [[nodiscard]] static Result<AccessPolicy> Load(const std::filesystem::path& file);
    [[nodiscard]] static Result<AccessPolicy> Parse(const std::string& json, const std::string& fileName);
};

// Replaces the policy. Tokens that were issued before become unknown, except the token of this process.
void InstallAccessPolicy(AccessPolicy policy);

// Returns the caller's identity under the installed policy. A user that matches the same policy entry again gets the
// same token. Before a policy is installed, every caller is a shell.
CallerIdentity IdentifyCaller(const PeerCredentials& peer);

// Returns the identity of this process, which is a native caller with the system-app flag under any policy.
CallerIdentity IdentifySelf();

}  // namespace Vexo::Security
