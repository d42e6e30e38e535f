// The daemon's health checks for `distnetctl doctor`: identity, account, clock, backup, policy, daemon, socket and
// peers. A simulated device also has the checks radio and hotspot. The caller makes the others (HealthFacts::device).
// The checks read files and the registry anew each time. They change nothing and never load the service's library. Any
// thread may run them. They block on the disk and on the simulated radio, for up to 10 s if that radio does not answer.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "host/configuration.h"
#include "interfaces/host_answers.h"
#include "platform/base/clock.h"
#include "platform/dfx/health_check.h"
#include "platform/softbus/softbus_service.h"

namespace Vexo::Host {

// The clock check fails when the clocks of two devices differ by more than this.
inline constexpr std::chrono::seconds CLOCK_TOLERANCE{60};

struct HealthFacts {
    Configuration configuration;
    std::string networkId;  // network id of the identity that the daemon uses
    // The known devices, online or not. No value while the daemon has no link to other devices, because the device is
    // not enrolled or its enrolment could not be used.
    std::optional<std::vector<SoftBus::Node>> devices;
    MembershipStatus membership;
    size_t abilities = 0;  // number of abilities that are registered now
    ServiceLife service = ServiceLife::NOT_LOADED;
    std::filesystem::path serviceLibrary;
    // The checks that the caller has already made (HostFacts::deviceChecks). CheckHealth appends them to its result.
    std::vector<QuviewDFX::HealthCheck> device;
    WallTime now = Clock::System().WallNow();
};

std::vector<QuviewDFX::HealthCheck> CheckHealth(const HealthFacts& facts);

}  // namespace Vexo::Host
