// The names and numbers of this machine's users and groups. They block on the user database, which may ask a directory
// server; any thread; no state.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace Vexo {

// Nothing for a name that the machine does not know.
std::optional<uid_t> FindUser(const std::string& name);
std::optional<gid_t> FindGroup(const std::string& name);

// The name; the number as text when it has none.
std::string UserName(uid_t user);
std::string GroupName(gid_t group);

}  // namespace Vexo
