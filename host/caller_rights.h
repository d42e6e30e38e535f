// The rights that a local caller needs to use the service and the daemon's own ability. Checks the caller that
// IPCSkeleton names. Looks things up in memory only; any thread. How rights are decided:
// platform/access/caller_check.h.
#pragma once

namespace Vexo::Host {

// True for a caller with the system-app flag that is native, or is an application with a system level and the
// permission.
bool CallerHasRights();

}  // namespace Vexo::Host
