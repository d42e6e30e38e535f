// The checks of a device's identity that `distnetctl doctor` shows, made from its files alone. The daemon makes them,
// or distnetctl itself when no daemon answers. Blocks on the disk; any thread; changes nothing.
#pragma once

#include <chrono>
#include <filesystem>
#include <string>

#include "platform/dfx/health_check.h"

namespace Vexo::Trust {

struct IdentityChecks {
    QuviewDFX::HealthCheck identity;  // key and certificate
    QuviewDFX::HealthCheck account;   // the account's name, or what is wrong with the account
    // Compares the clock with the certificate's validity only. Never healthy: the caller must compare it with peers'
    // clocks.
    QuviewDFX::HealthCheck clock;
    std::string networkId;  // empty when the identity cannot be loaded
};

// folder: the identity folder, identity/ in the state folder. now: the current time.
IdentityChecks CheckIdentity(const std::filesystem::path& folder, std::chrono::system_clock::time_point now);

}  // namespace Vexo::Trust
