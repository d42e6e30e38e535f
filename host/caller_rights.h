// Checks whether a local caller may use the service and the daemon's own ability. The caller is the one that
// IPCSkeleton names. Reads memory only; any thread. How rights are decided: platform/access/caller_check.h.
#pragma once

namespace Vexo::Host {

// Returns true if the caller has the system-app flag and is either native, or an application with a system privilege
// level and the permission.
bool CallerHasRights();

}  // namespace Vexo::Host
