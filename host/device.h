// Device: the radios, SIMs, screen and battery of this device. ChoosePlatform selects what provides them: the machine's
// own daemons, or a simulation. Only the code in host/ makes this choice. Call Start and Stop once each. Other threads
// may use the abilities that a device registers.
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
    std::string reason;               // such as "NetworkManager 1.42.4 answers"
    std::shared_ptr<Linux::Bus> bus;  // null for a simulated device
};

// Returns the configured platform without checking that the platform works. If no platform is configured: returns linux
// if NetworkManager answers on the bus, and simulated if not; blocks for this answer, at most 10 s.
PlatformChoice ChoosePlatform(const Configuration& configuration);

class Device : public NoCopyable {
public:
    // Starts the device. Blocks until the abilities that are available now are registered with the process's registry.
    [[nodiscard]] static Result<std::unique_ptr<Device>> Start(const PlatformChoice& choice,
                                                               const Configuration& configuration,
                                                               const std::string& networkId);
    virtual ~Device() = default;

    // Ends the work that is running. The abilities stay registered and refuse new work.
    virtual void Stop() = 0;
    // Returns one line for each ability, for the person who starts the daemon: what provides the ability, or why it is
    // missing.
    virtual std::vector<std::string> Lines() const = 0;
    // Returns the checks of radios, modem, events, Avahi and Bluetooth for `distnetctl doctor`, with advice on what is
    // missing. The list is empty for a simulated device. Blocks until D-Bus answers. Any thread may call it.
    virtual std::vector<QuviewDFX::HealthCheck> Checks() const = 0;
    // Returns whether this device's Wi-Fi can join a network now. Any thread may call it; it does not block.
    virtual RadioState Radio() const = 0;
    // Creates a new key for the hotspots that this daemon opens. Call it after a device that knows the old key was
    // removed from the account. Returns the SSID of the user's own hotspot, whose key does not change, or an empty text
    // if the user has none. Blocks until the radio's daemon answers. Any thread may call it.
    [[nodiscard]] virtual Result<std::string> ChangeHotspotKey() = 0;
    // Return this device's hotspot, station and networks. The references are valid as long as this object exists.
    virtual Wifi::ShareControl& Share() = 0;
    virtual Wifi::StationControl& Station() = 0;
    virtual Network::NetworkMonitor& Network() = 0;
    // Notifies desktop programs that the device with the given network id asks to use this device's network. Any thread
    // may call it.
    virtual void SignalShareRequest(const std::string& networkId, const std::string& deviceName) = 0;
    // Returns the channels on which this device announces itself and finds others, as far as the configuration allows
    // them.
    virtual std::vector<SoftBus::AnnouncementChannelFactory> AnnouncementChannels() const = 0;
    // Returns the transports in addition to TCP over which this device can be reached, as far as the configuration
    // allows them.
    virtual std::vector<SoftBus::TransportFactory> Transports() const = 0;
};

// Returns the line for an ability, such as "ability 4010 telephony: ModemManager 1.20.4, 1 modem". what: the text after
// the name of the ability.
std::string AbilityLine(int32_t systemAbilityId, const std::string& what);

}  // namespace Vexo::Host
