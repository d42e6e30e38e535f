// What `distnetctl doctor` says of a device's identity, from its files alone: by the daemon, and by distnetctl when no
// daemon answers. Blocks on the disk; any thread; changes nothing.
#pragma once

#include <chrono>
#include <filesystem>
#include <string>

#include "platform/dfx/health_check.h"

namespace Vexo::Trust {

struct IdentityChecks {
    QuviewDFX::HealthCheck identity;  // key and certificate
    QuviewDFX::HealthCheck account;   // its name
    QuviewDFX::HealthCheck clock;     // within the certificate's validity or not; never good: peers are for the caller
    std::string networkId;            // empty when the identity cannot be loaded
};

// folder: identity/ of the state folder. now: what the clock says.
IdentityChecks CheckIdentity(const std::filesystem::path& folder, std::chrono::system_clock::time_point now);

}  // namespace Vexo::Trust
