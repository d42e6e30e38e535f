// Looks up the names and numbers of this machine's users and groups. Functions block on the user database, which may
// query a directory server; any thread; no state.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace Vexo {

// FindUser and FindGroup return nullopt for an unknown name.
std::optional<uid_t> FindUser(const std::string& name);
std::optional<gid_t> FindGroup(const std::string& name);

// UserName and GroupName return the name, or the number as text when there is no name for it.
std::string UserName(uid_t user);
std::string GroupName(gid_t group);

}  // namespace Vexo
