// Device: the radios, SIMs, screen and battery of this device, and the choice of the platform that provides them: the
// machine's own daemons, or a simulation. Only the host makes this choice. Start and Stop are called once each; other
// threads may use the abilities that a device registers.
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
#include "platform/network/network_monitor.h"
#include "platform/softbus/discovery/announcement_channel.h"
#include "platform/softbus/transport/transport.h"
#include "platform/wifi/share_control.h"
#include "platform/wifi/station_control.h"

namespace Vexo::Host {

inline constexpr const char* PLATFORM_LINUX = "linux";
inline constexpr const char* PLATFORM_SIMULATED = "simulated";

struct PlatformChoice {
    std::string platform;             // "linux" or "simulated"
    std::string reason;               // "NetworkManager 1.42.4 answers"
    std::shared_ptr<Linux::Bus> bus;  // null for a simulated device
};

// Returns the configured platform without checking that it works. If none is configured, returns linux if
// NetworkManager answers, else simulated; blocks for that answer, at most 5 s.
PlatformChoice ChoosePlatform(const Configuration& configuration);

class Device : public NoCopyable {
public:
    // Blocks until the abilities that are available now are registered with the process's registry.
    [[nodiscard]] static Result<std::unique_ptr<Device>> Start(const PlatformChoice& choice,
                                                               const Configuration& configuration,
                                                               const std::string& networkId);
    virtual ~Device() = default;

    // Ends running work. The abilities stay registered and refuse new work.
    virtual void Stop() = 0;
    // One line for each ability, for the person who starts the daemon: what provides it, or why it is not there.
    virtual std::vector<std::string> Lines() const = 0;
    // The checks of radios, modems and events for `distnetctl doctor`, with advice on what is missing. Empty for a
    // simulated device. Any thread.
    virtual std::vector<QuviewDFX::HealthCheck> Checks() const = 0;
    // Whether Wi-Fi can join a network now. Any thread; does not block.
    virtual RadioState Radio() const = 0;
    // Makes a new key for the hotspots that this program makes, because a device that knows the old one was removed
    // from the account. Returns the SSID of a hotspot of the user's own, whose key stays, or an empty text. Blocks for
    // the radio's daemon. Any thread.
    [[nodiscard]] virtual Result<std::string> ChangeHotspotKey() = 0;
    // The hotspot as others use it, the station, and the networks of this device. Valid for the life of this object.
    virtual Wifi::ShareControl& Share() = 0;
    virtual Wifi::StationControl& Station() = 0;
    virtual Network::NetworkMonitor& Network() = 0;
    // Tells desktop programs that the owner is asked whether that device may use this one's network. Any thread.
    virtual void SignalShareRequest(const std::string& networkId, const std::string& deviceName) = 0;
    // On what this device can announce itself and hear of others, as the configuration allows.
    virtual std::vector<SoftBus::AnnouncementChannelFactory> AnnouncementChannels() const = 0;
    // By what this device can be reached beside TCP, as the configuration allows.
    virtual std::vector<SoftBus::TransportFactory> Transports() const = 0;
};

// "ability 4010 telephony: ModemManager 1.20.4, 1 modem"
std::string AbilityLine(int32_t systemAbilityId, const std::string& what);

}  // namespace Vexo::Host
