// The check of the daemon's socket for `distnetctl doctor`: compares the modes of the socket and of the folders above
// it with the configuration and the policy. Blocks on the disk; any thread.
#pragma once

#include "host/configuration.h"
#include "platform/access/policy.h"
#include "platform/dfx/health_check.h"

namespace Vexo::Host {

// policy: the policy in force. If the configuration names a policy (access.policy), the check fails when that policy
// admits a user or group that cannot reach the socket. With the shipped policy it only reports who can reach the
// socket.
QuviewDFX::HealthCheck CheckSocket(const Configuration& configuration, const Security::AccessPolicy& policy);

}  // namespace Vexo::Host
