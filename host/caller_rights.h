// The rights that the service and the daemon's own ability ask of their callers, for the caller that IPCSkeleton names.
// Look-ups in memory; any thread. The decision: platform/access/caller_check.h.
#pragma once

namespace Vexo::Host {

// A native caller, or an application of a system level that was granted the permission; either with the system-app
// flag.
bool CallerHasRights();

}  // namespace Vexo::Host
