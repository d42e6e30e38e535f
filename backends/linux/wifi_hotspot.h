// LinuxWifiHotspot: this machine's access point (ability 1121) over NetworkManager. EnableHotspot activates an
// access-point profile of the user: among the profiles that are open or whose key NetworkManager knows, the last used.
// If there is no such profile, EnableHotspot activates a temporary profile of this program. The class turns off only a
// hotspot that it turned on itself: at Stop, when a caller requests it, when EnableHotspot took too long, when the
// battery is low, when the key changes, or when no station uses the hotspot any more (share_guard.h). The class also
// implements ShareControl. Any thread may call it. The work runs on the Wi-Fi strand (wifi_context.h).
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "backends/linux/network_manager_profiles.h"
#include "backends/linux/share_guard.h"
#include "backends/linux/stations.h"
#include "backends/linux/wifi_context.h"
#include "platform/base/mutex.h"
#include "platform/ipc/iremote_object.h"
#include "platform/tasks/change_listener.h"
#include "platform/tasks/timers.h"
#include "platform/wifi/share_control.h"
#include "platform/wifi/wifi_hotspot.h"

namespace Vexo::Linux {

inline constexpr const char* HOTSPOT_KEY_FILE = "hotspot-key";  // file in the state folder, mode 0600

struct HotspotOptions {
    std::filesystem::path stateDir;
    std::string deviceName;  // the SSID is derived from deviceName and networkId
    std::string networkId;
    HotspotSettings settings;  // settings of the temporary profile
    ShareLimits limits;
    // How long a radio that is connected as a station stays connected after EnableHotspot. The reply to the device that
    // asked for the hotspot may need this connection.
    std::chrono::milliseconds switchDelay{500};
    std::function<Result<std::vector<Wifi::ShareStation>>(const std::string& interface)> listStations = ListStations;
};

class LinuxWifiHotspot : public IPCObjectStub, public Wifi::WifiHotspot, public Wifi::ShareControl {
public:
    // Stop() must be called before the last reference is released.
    LinuxWifiHotspot(std::shared_ptr<WifiContext> context, HotspotOptions options);
    ~LinuxWifiHotspot() override;

    // Sets isActive to true as soon as EnableHotspot has succeeded. Also sets it to true if another program has turned
    // on a hotspot.
    int32_t IsHotspotActive(bool& isActive) override;
    // Returns WIFI_DISABLED while Wi-Fi is switched off. Does nothing if a hotspot is already on.
    int32_t EnableHotspot(Wifi::ServiceType type) override;
    // Returns WIFI_FAILED if another program turned on the hotspot. That hotspot stays on.
    int32_t DisableHotspot(Wifi::ServiceType type) override;
    // Reads the configuration of the hotspot that is on. If none is on, reads the configuration that EnableHotspot
    // would use. If NetworkManager does not answer, returns the configuration of the hotspot that this class turned on.
    int32_t GetHotspotConfig(Wifi::HotspotConfig& config) override;

    Wifi::ShareInfo ReadState() override;
    [[nodiscard]] Result<void> Close(const char* reason) override;
    void SetListener(std::function<void()> changed) override { listener_.Set(std::move(changed)); }

    // Generates a new key for this program's own hotspot. If that hotspot is on, turns it off, so that devices which
    // only know the old key must leave it. If EnableHotspot would use a hotspot profile of the user, returns the SSID
    // of that profile, because its key does not change. Otherwise returns an empty text. If the new key cannot be
    // written, the old key stays in use. After any other error the new key is in use. Blocks for NetworkManager's
    // replies.
    [[nodiscard]] Result<std::string> ChangeKey();

    // The next three functions must be called on the strand. OnChanged: something about the radios has changed.
    // OnNetworkManagerStopped: NetworkManager has left the bus. OnBatteryLow: the battery is low.
    void OnChanged();
    void OnNetworkManagerStopped();
    void OnBatteryLow();
    // Turns off the hotspot if this class turned it on. Blocks for NetworkManager's replies, at most WIFI_CALL_LIMIT.
    void Stop();

private:
    struct Chosen {
        std::optional<Profile> usersOwn;
        Wifi::HotspotConfig config;
    };
    struct Share {
        NetworkChange change;
        std::string radio;
        std::string interface;
    };

    // The following functions run on the strand only.
    int32_t Enable(WifiContext::Deadline deadline);
    // Turns on the hotspot. manager: the client for the calls before the hotspot is activated; it has the caller's
    // deadline if a caller waits.
    int32_t Open(const NetworkManager& manager, const WifiRadio& radio);
    void OpenLater(const WifiRadio& radio);
    void OpenNow(const std::string& radio);
    // Closes the hotspot if this class opened it. Returns false if NetworkManager did not answer. The hotspot is then
    // closed later.
    bool CloseOwn(const char* reason);
    void ResetShare();
    // Whether the profile of share_ is active again with a new activation, for example after a change of its settings.
    // The hotspot then still belongs to this class.
    bool WasRenewed();
    void Guard();
    void GuardLater();
    // interface: the name of the hotspot's network interface; empty until the hotspot is activated.
    void SetOn(bool isOn, const std::string& interface = "");

    // The following functions only read. Any thread may call them.
    [[nodiscard]] Result<Chosen> Choose(const NetworkManager& manager) const;
    // Returns the configuration of the hotspot that is on. Returns nullopt if no hotspot is on.
    [[nodiscard]] static Result<std::optional<Wifi::HotspotConfig>> ConfigInUse(const NetworkManager& manager);
    [[nodiscard]] Result<Wifi::HotspotConfig> ReadConfig(const NetworkManager& manager) const;
    Wifi::HotspotConfig MakeOwnConfig() const;

    const std::shared_ptr<WifiContext> context_;
    const HotspotOptions options_;

    mutable Mutex mutex_;
    std::string generatedKey_ GUARDED_BY(mutex_);  // secret
    bool isOn_ GUARDED_BY(mutex_) = false;
    std::optional<Wifi::HotspotConfig> opened_ GUARDED_BY(mutex_);  // the configuration of share_; secret
    bool hasStopBegun_ GUARDED_BY(mutex_) = false;
    bool isOpenedHere_ GUARDED_BY(mutex_) = false;
    uint32_t openings_ GUARDED_BY(mutex_) = 0;  // how often a hotspot was opened since this program started
    std::string interface_ GUARDED_BY(mutex_);  // the hotspot's network interface; empty until activation

    // The following members are used on the strand only.
    std::optional<Share> share_;
    bool isOpening_ = false;      // Enable has succeeded and waits for switchDelay
    bool hasJustOpened_ = false;  // the latest Enable has turned the hotspot on
    uint32_t openingsSet_ = 0;    // the number of the latest wait for switchDelay
    bool isStopped_ = false;
    ShareGuard guard_;
    Tasks::Timer timer_;

    Tasks::ChangeListener listener_;  // own synchronisation
};

}  // namespace Vexo::Linux
