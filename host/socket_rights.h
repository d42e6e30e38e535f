// Who can open the daemon's socket, as doctor sees it: the mode of the socket and of the folders above it, against what
// the configuration and the policy say. Blocks on the disk; any thread.
#pragma once

#include "host/configuration.h"
#include "platform/access/policy.h"
#include "platform/dfx/health_check.h"

namespace Vexo::Host {

// policy: the one in force. A user or group that an own policy (access.policy) lets in, but that cannot reach the
// socket, is called wrong; under the shipped policy it is only told who can.
QuviewDFX::HealthCheck CheckSocket(const Configuration& configuration, const Security::AccessPolicy& policy);

}  // namespace Vexo::Host
