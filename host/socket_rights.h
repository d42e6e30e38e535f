// The check of the daemon's socket for `distnetctl doctor`. It compares the modes of the socket and of the folders
// above it with the configuration and the access policy. It blocks on the disk, and any thread may call it.
#pragma once

#include "host/configuration.h"
#include "platform/access/policy.h"
#include "platform/dfx/health_check.h"

namespace Vexo::Host {

// policy: the access policy that the daemon uses. If the configuration names a policy (access.policy), the check fails
// when that policy admits a user or group that cannot reach the socket. With the shipped policy, the check only reports
// who can reach the socket.
QuviewDFX::HealthCheck CheckSocket(const Configuration& configuration, const Security::AccessPolicy& policy);

}  // namespace Vexo::Host
