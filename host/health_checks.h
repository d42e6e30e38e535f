// What the daemon finds when `distnetctl doctor` asks how it is: identity, account, clock, policy, daemon, socket,
// peers, radio, hotspot, and on a Linux machine modem and events, in that order. It looks at files and at the registry
// each time, changes nothing and never loads the service. Blocks on the disk and on the radio (10 s when that does not
// answer). Any thread.
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

// Clocks of two devices that are further apart are called wrong.
inline constexpr std::chrono::seconds CLOCK_TOLERANCE{60};

struct HealthFacts {
    Configuration configuration;
    std::string networkId;  // of the identity that the daemon uses
    // The known devices, online or away; they are kept across restarts. No value while the daemon has no link to other
    // devices, because it is not enrolled or could not use its enrolment.
    std::optional<std::vector<SoftBus::Node>> devices;
    size_t abilities = 0;  // present now
    ServiceLife service = ServiceLife::NOT_LOADED;
    std::filesystem::path serviceLibrary;
    // What the device says of its radios and daemons; empty for a simulated one, whose state file tells.
    std::vector<QuviewDFX::HealthCheck> device;
    WallTime now = Clock::System().WallNow();
};

std::vector<QuviewDFX::HealthCheck> CheckHealth(const HealthFacts& facts);

}  // namespace Vexo::Host
