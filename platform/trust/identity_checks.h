// Checks the files of a device's identity. `distnetctl doctor` shows the results. The daemon calls CheckIdentity. If no
// daemon answers, distnetctl calls CheckIdentity itself. The function blocks on the disk and changes nothing.
// Thread-safe.
#pragma once

#include <chrono>
#include <filesystem>
#include <string>

#include "platform/dfx/health_check.h"

namespace Vexo::Trust {

struct IdentityChecks {
    QuviewDFX::HealthCheck identity;  // checks the device's key and certificate
    QuviewDFX::HealthCheck account;   // the account's name, or what is wrong with the account
    // Compares this device's clock with the validity period of the certificate only. The result is never "healthy",
    // because the caller must still compare the clock with the clocks of other devices.
    QuviewDFX::HealthCheck clock;
    std::string networkId;  // empty when the identity cannot be loaded
};

// Checks the device's identity. folder: the identity folder, which is named identity/ inside the state folder. now: the
// current time.
IdentityChecks CheckIdentity(const std::filesystem::path& folder, std::chrono::system_clock::time_point now);

}  // namespace Vexo::Trust
