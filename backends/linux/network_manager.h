// NetworkManager: a typed client for the part of NetworkManager's D-Bus interface that this backend uses. It keeps no
// state. Every function except Until calls the daemon and blocks for each reply, at most for the limit passed to the
// constructor. Version, IsWifiBlocked and CheckConnectivity have limits of their own. Errors are those of bus.h.
// IsNoAnswer (bus_error.h) is true for an error if no reply arrived. Any thread may use the client. A profile is a
// stored connection of NetworkManager. An activation is an active connection. Object paths identify both.
// https://networkmanager.dev/docs/api/1.42/spec.html
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "backends/linux/bus.h"
#include "platform/base/clock.h"
#include "platform/wifi/station.h"

namespace Vexo::Linux {

using SettingsMap = std::map<std::string, PropertyMap>;  // a{sa{sv}}: a profile's settings by name

inline constexpr const char* NETWORK_MANAGER = "org.freedesktop.NetworkManager";
inline constexpr const char* NETWORK_MANAGER_PATH = "/org/freedesktop/NetworkManager";
inline constexpr const char* NM_DEVICE_INTERFACE = "org.freedesktop.NetworkManager.Device";
inline constexpr const char* NM_WIRELESS_INTERFACE = "org.freedesktop.NetworkManager.Device.Wireless";
inline const BusObject NM_MANAGER{NETWORK_MANAGER, NETWORK_MANAGER_PATH, NETWORK_MANAGER};
inline constexpr std::chrono::milliseconds NETWORK_MANAGER_LIMIT{5000};
inline constexpr uint32_t NM_MODE_ACCESS_POINT = 3;  // NM_802_11_MODE_AP

// Values of NMDeviceState.
inline constexpr uint32_t NM_STATE_DISCONNECTED = 30;  // ready, connected to nothing
inline constexpr uint32_t NM_STATE_PREPARE = 40;       // the first state of an activation
inline constexpr uint32_t NM_STATE_ACTIVATED = 100;
inline constexpr uint32_t NM_STATE_FAILED = 120;

// Values of NMDeviceStateReason: why a radio is in its state.
enum class NmReason : uint32_t {
    NONE = 0,
    UNKNOWN = 1,
    CONFIG_UNAVAILABLE = 5,
    CONFIG_EXPIRED = 6,
    NO_SECRETS = 7,
    SUPPLICANT_DISCONNECT = 8,
    SUPPLICANT_CONFIG_FAILED = 9,
    SUPPLICANT_FAILED = 10,
    SUPPLICANT_TIMEOUT = 11,
    DHCP_START_FAILED = 15,
    DHCP_ERROR = 16,
    DHCP_FAILED = 17,
    SLEEPING = 37,
    CONNECTION_REMOVED = 38,
    USER_REQUESTED = 39,
    SSID_NOT_FOUND = 53,
    NEW_ACTIVATION = 60,
};

struct WifiRadio {
    std::string path;
    std::string interface;  // such as "wlan0"
    uint32_t state = 0;
    bool canBeAccessPoint = false;
    bool isAccessPoint = false;  // valid only while IsActive()
    std::string activation;      // the path of the activation; empty: none
    std::string macAddress;      // the current address, in lower case
    int64_t lastScan = -1;       // end of the last scan, in milliseconds on the boot clock; -1: never

    bool IsActive() const { return state >= NM_STATE_PREPARE && state <= NM_STATE_ACTIVATED; }
    bool IsHotspot() const { return isAccessPoint && IsActive(); }
    bool IsStation() const { return !isAccessPoint && IsActive(); }
};

struct AccessPoint {
    std::string path;
    std::string ssid;
    std::string bssid;
    uint8_t strengthPercent = 0;
    Wifi::NetworkSecurity security;
    std::chrono::seconds lastSeen{-1};  // time on the boot clock; -1: never
};

struct Profile {
    std::string path;
    SettingsMap settings;  // without secrets
};

struct Activation {
    std::string profile;
    std::string path;
};

// The IPv4 configuration of a radio.
struct Ip4Lease {
    std::string address;
    std::string gateway;
    std::vector<std::string> nameServers;
};

// The values of NMConnectivityState.
enum class NmConnectivity : uint32_t { UNKNOWN = 0, NONE = 1, PORTAL = 2, LIMITED = 3, FULL = 4 };

// The network state of the whole machine.
struct NetworkOverview {
    std::string primary;              // the activation with the default route; empty: none
    std::vector<std::string> active;  // the paths of the activations
    bool isCheckOn = false;           // connectivity checks are configured and enabled
    NmConnectivity connectivity = NmConnectivity::UNKNOWN;
};

struct NetworkDevice {
    std::string interface;
    uint32_t type = 0;              // NMDeviceType
    std::optional<bool> isMetered;  // known or guessed by NetworkManager; no value: not known
    NmConnectivity connectivity = NmConnectivity::UNKNOWN;
};

enum class ActivationState : uint32_t { UNKNOWN = 0, ACTIVATING = 1, ACTIVATED = 2, DEACTIVATING = 3, GONE = 4 };

// The properties of an activation.
struct Connection {
    std::string path;
    std::string profile;
    std::string name;    // the profile's name, such as "office"
    std::string type;    // such as "802-11-wireless"
    std::string device;  // path of its first device; empty: none
    ActivationState state = ActivationState::UNKNOWN;
    bool isDefault = false;  // has the default route of IPv4 or IPv6
};

// Decodes the properties of an access point. NOT_FOUND: the access point hides its SSID. Pure function.
[[nodiscard]] Result<AccessPoint> AccessPointFrom(const std::string& path, const PropertyMap& properties);
// Decodes the properties of an IPv4 configuration. Pure function.
Ip4Lease Ip4LeaseFrom(const PropertyMap& properties);

class NetworkManager {
public:
    // limit: the time limit of one call. clock: measures the deadline that Until sets.
    explicit NetworkManager(std::shared_ptr<Bus> bus, std::chrono::milliseconds limit = NETWORK_MANAGER_LIMIT,
                            const Clock& clock = Clock::System())
        : bus_(std::move(bus)), limit_(limit), clock_(clock)
    {
    }

    // Returns a copy of this client with a deadline. A call in progress fails at the deadline. After the deadline no
    // call is sent. The functions Version, IsWifiBlocked and CheckConnectivity ignore this deadline.
    NetworkManager Until(SteadyTime deadline) const;

    [[nodiscard]] Result<std::string> Version() const;
    // Returns false while Wi-Fi is switched off, by software or by a switch of the machine.
    [[nodiscard]] Result<bool> IsWifiEnabled() const;
    // Whether a switch of the machine keeps Wi-Fi off.
    [[nodiscard]] Result<bool> IsWifiBlocked() const;
    // Whether this machine has a connection with a default route (NetworkManager's PrimaryConnection).
    [[nodiscard]] Result<bool> HasUplink() const;

    // Returns the Wi-Fi devices that NetworkManager manages, in NetworkManager's order.
    [[nodiscard]] Result<std::vector<WifiRadio>> Radios() const;
    // Returns the access points that the radio has seen, except those of hidden networks.
    [[nodiscard]] Result<std::vector<AccessPoint>> AccessPoints(const std::string& radio) const;
    // Makes the radio scan. NetworkManager may refuse, for example because the last scan was too recent. The refusal is
    // only logged.
    void RequestScan(const std::string& radio) const;
    // Returns the signal strength of the access point to which the radio is connected, in percent.
    [[nodiscard]] Result<uint8_t> StrengthAt(const std::string& radio) const;
    // Returns the IPv4 configuration of the radio. All fields are empty if the radio has none.
    [[nodiscard]] Result<Ip4Lease> LeaseOf(const std::string& radio) const;

    [[nodiscard]] Result<NetworkOverview> Overview() const;
    [[nodiscard]] Result<Connection> ReadConnection(const std::string& activation) const;
    [[nodiscard]] Result<NetworkDevice> ReadDevice(const std::string& path) const;
    // Makes NetworkManager check the connectivity of every device now, and returns the result for the whole machine.
    // Blocks until the check has ended, at most until the parameter deadline, which replaces the usual time limit.
    [[nodiscard]] Result<NmConnectivity> CheckConnectivity(SteadyTime deadline) const;

    // Adds a temporary profile and activates it. NetworkManager deactivates the profile when this program leaves the
    // bus, and deletes the profile when the activation ends. accessPoint: the path of the access point to join; empty:
    // not specified.
    [[nodiscard]] Result<Activation> AddAndActivate(const SettingsMap& settings, const std::string& radio,
                                                    const std::string& accessPoint) const;
    [[nodiscard]] Result<Activation> Activate(const std::string& profile, const std::string& radio) const;
    // Ends the activation. Also succeeds if it has already ended. Fails only if no reply arrives.
    [[nodiscard]] Result<void> Deactivate(const std::string& activation) const;
    // Returns the state of the activation, or GONE if the activation no longer exists. Fails only if no reply arrives.
    [[nodiscard]] Result<ActivationState> StateOf(const std::string& activation) const;
    [[nodiscard]] Result<Profile> ProfileInUse(const std::string& activation) const;

    [[nodiscard]] Result<std::vector<Profile>> Profiles() const;
    [[nodiscard]] Result<Profile> ReadProfile(const std::string& path) const;
    [[nodiscard]] Result<Profile> FindProfile(const std::string& uuid) const;
    // Returns the profile together with its Wi-Fi key, if NetworkManager stores the key.
    [[nodiscard]] Result<Profile> WithSecrets(Profile profile) const;
    // Deletes the profile. Also succeeds if the profile no longer exists. Fails only if no reply arrives.
    [[nodiscard]] Result<void> Delete(const std::string& profile) const;

private:
    // Returns how long a call of the given method may take: at most limit_, and not beyond deadline_. Fails if
    // deadline_ has passed.
    [[nodiscard]] Result<std::chrono::milliseconds> TimeFor(const std::string& method) const;
    // The next three functions call the functions of Bus with the same names. A call takes at most limit_, and fails at
    // deadline_.
    template <typename Reply = void, typename... Arguments>
    [[nodiscard]] Result<Reply> Call(const BusObject& object, const std::string& method,
                                     const Arguments&... arguments) const;
    template <typename T>
    [[nodiscard]] Result<T> GetProperty(const BusObject& object, const std::string& name) const;
    [[nodiscard]] Result<PropertyMap> GetProperties(const BusObject& object) const;

    [[nodiscard]] Result<WifiRadio> ReadRadio(const std::string& path) const;
    [[nodiscard]] Result<AccessPoint> ReadAccessPoint(const std::string& path) const;

    const std::shared_ptr<Bus> bus_;
    const std::chrono::milliseconds limit_;
    const Clock& clock_;
    SteadyTime deadline_ = SteadyTime::max();
};

}  // namespace Vexo::Linux
