// Checks whether a local caller may use the service and the daemon's own ability. The caller is the one that
// IPCSkeleton names. The function reads only memory, and any thread may call it. platform/access/caller_check.h
// explains how rights are decided.
#pragma once

namespace Vexo::Host {

// Returns true if the caller has the system-app flag and one of these two: the native type, or a system privilege level
// together with the service's permission.
bool CallerHasRights();

}  // namespace Vexo::Host
