// The access policy: decides from a caller's user and groups what kind of caller it is and which permissions it has.
// Read once at start from a JSON file:
//   {"entries": [{"user": "root", "token_type": "native", "system_app": true},
//                {"group": "netdev", "token_type": "application", "privilege_level": 2, "system_app": true,
//                 "permissions": ["vexo.permission.CONNECTIVITY_INTERNAL"]}]}
// Keys of an entry:
//   "user" or "group"   exactly one of them, a name or a number
//   "token_type"        "application", "native" or "shell"
//   "privilege_level"   1 to 3; default 1
//   "system_app"        default false
//   "permissions"       default none
// The first entry with the caller's user applies, else the first entry with one of the caller's groups. Every other
// caller is a shell. An entry whose name the machine does not know matches no caller.
// Load reads the disk. InstallAccessPolicy reads the user database; the host calls it once, before the IPC server
// starts. The other functions work in memory, on any thread.
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
    std::string user;  // exactly one of user and group is set
    std::string group;
    ATokenTypeEnum tokenType = TOKEN_SHELL;
    ATokenAplEnum privilegeLevel = APL_NORMAL;
    bool systemApp = false;
    std::vector<std::string> permissions;
};

struct AccessPolicy {
    std::vector<PolicyEntry> entries;

    // root is a native caller with the system-app flag. Group netdev is an application of level 2 with the flag and
    // CONNECTIVITY_INTERNAL_PERMISSION.
    static AccessPolicy ShippedDefault();
    // Only root has access. Used when the policy file cannot be used.
    static AccessPolicy RootOnly();
    // The error names the file, the entry, the key and the allowed values.
    [[nodiscard]] static Result<AccessPolicy> Load(const std::filesystem::path& file);
    [[nodiscard]] static Result<AccessPolicy> Parse(const std::string& json, const std::string& fileName);
};

// Replaces the policy. Tokens issued before become unknown, except this process's own.
void InstallAccessPolicy(AccessPolicy policy);

// Returns the caller's identity under the installed policy. The same user and entry always get the same token. Without
// a policy every caller is a shell.
CallerIdentity IdentifyCaller(const PeerCredentials& peer);

// Returns this process's own identity: a native caller with the system-app flag, under any policy.
CallerIdentity IdentifySelf();

}  // namespace Vexo::Security
