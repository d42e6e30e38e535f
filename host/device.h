// Device: the radios, SIMs, screen and battery that this daemon serves, and the choice of the platform that they come
// from: the machine's own daemons, or simulated ones. The host alone chooses. Made and stopped by the daemon's one
// thread each; the abilities that a device registers may be used by any.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "backends/linux/bus.h"
#include "host/configuration.h"
#include "interfaces/host_answers.h"
#include "platform/base/nocopyable.h"
#include "platform/base/result.h"
#include "platform/dfx/health_check.h"

namespace Vexo::Host {

inline constexpr const char* PLATFORM_LINUX = "linux";
inline constexpr const char* PLATFORM_SIMULATED = "simulated";

struct PlatformChoice {
    std::string platform;             // "linux" or "simulated"
    std::string reason;               // "NetworkManager 1.42.4 answers"
    std::shared_ptr<Linux::Bus> bus;  // of a linux device; else null
};

// The configured platform, whatever stands behind it; without one linux where NetworkManager answers, else simulated.
// Blocks for NetworkManager's answer, at most 5 s.
PlatformChoice ChoosePlatform(const Configuration& configuration);

class Device : public NoCopyable {
public:
    // Blocks until the abilities that are there now are registered with the process's registry.
    [[nodiscard]] static Result<std::unique_ptr<Device>> Start(const PlatformChoice& choice,
                                                               const Configuration& configuration,
                                                               const std::string& networkId);
    virtual ~Device() = default;

    // Ends what is under way; the abilities stay registered and refuse work.
    virtual void Stop() = 0;
    // One line an ability for the person who watches the daemon start: what is behind it, or why it is not there.
    virtual std::vector<std::string> Lines() const = 0;
    // For `distnetctl doctor`: what is behind the radios, modems and events, and how to mend what is missing. None for
    // a simulated device. Any thread.
    virtual std::vector<QuviewDFX::HealthCheck> Checks() const = 0;
    // Any thread; does not block.
    virtual RadioState Radio() const = 0;
};

// "ability 4010 telephony: ModemManager 1.20.4, 1 modem"
std::string AbilityLine(int32_t systemAbilityId, const std::string& what);

}  // namespace Vexo::Host
