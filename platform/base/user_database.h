// Looks up the names and numbers of this machine's users and groups. The functions are thread-safe and block on the
// user database, which may query a directory server.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace Vexo {

// FindUser and FindGroup return nullopt if the name is unknown or the lookup fails.
std::optional<uid_t> FindUser(const std::string& name);
std::optional<gid_t> FindGroup(const std::string& name);

// UserName and GroupName return the name of a user or group. If the number has no name or the lookup fails, they return
// the number as text.
std::string UserName(uid_t user);
std::string GroupName(gid_t group);

}  // namespace Vexo
