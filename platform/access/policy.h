// The access policy: which users and groups are what to this device. Read once at start from a JSON file:
//   {"entries": [{"user": "root", "token_type": "native", "system_app": true},
//                {"group": "netdev", "token_type": "application", "privilege_level": 2, "system_app": true,
//                 "permissions": ["vexo.permission.CONNECTIVITY_INTERNAL"]}]}
// Keys of an entry: "user" or "group", one of them, a name or a number; "token_type": "application", "native" or
// "shell"; "privilege_level": 1 to 3, 1 unless given; "system_app": false unless given; "permissions": none unless
// given. The first entry that names the caller's user, else the first that names one of its groups, applies; everyone
// else is a shell. An entry with a name that the machine does not know matches no caller. Load touches the disk,
// Install the user database; Install is called once, by the host, before the IPC server starts; the rest is in memory,
// any thread.
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

    // root native with the system-app flag; group netdev an application of level 2 with the flag and the permission.
    static AccessPolicy ShippedDefault();
    // Only root: what holds when the file is missing or damaged.
    static AccessPolicy RootOnly();
    // The error names file, entry and key, and what is allowed.
    [[nodiscard]] static Result<AccessPolicy> Load(const std::filesystem::path& file);
    [[nodiscard]] static Result<AccessPolicy> Parse(const std::string& json, const std::string& fileName);
};

// Tokens are made by this policy from now on. Tokens made before become unknown.
void InstallAccessPolicy(AccessPolicy policy);

// The caller's identity under the installed policy: the same token for the same user and entry. Without a policy
// everyone is a shell.
CallerIdentity IdentifyCaller(const PeerCredentials& peer);

// This process as a native caller with the system-app flag: what the daemon is to its own abilities. Holds under any
// policy.
CallerIdentity IdentifySelf();

}  // namespace Vexo::Security
