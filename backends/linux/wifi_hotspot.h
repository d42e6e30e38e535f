// LinuxWifiHotspot: this machine's access point (ability 1121) over NetworkManager. Enabling activates the user's own
// access-point profile where there is one whose key NetworkManager knows (the one used last), else a temporary one of
// ours. It turns off what it turned on (share_guard.h), and no hotspot that somebody else turned on. It is also this
// machine's share (ShareControl). Any thread may call it; the work runs on the Wi-Fi strand (wifi_context.h).
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

inline constexpr const char* HOTSPOT_KEY_FILE = "hotspot-key";  // in the state folder, mode 0600

struct HotspotOptions {
    std::filesystem::path stateDir;
    std::string deviceName;  // the SSID is made of it and the network id
    std::string networkId;
    HotspotSettings settings;  // of the temporary profile
    ShareLimits limits;
    // How long a radio that is a station stays one after enabling: the caller's answer may be sent over it.
    std::chrono::milliseconds switchDelay{500};
    std::function<Result<std::vector<Wifi::ShareStation>>(const std::string& interface)> listStations = ListStations;
};

class LinuxWifiHotspot : public IPCObjectStub, public Wifi::WifiHotspot, public Wifi::ShareControl {
public:
    // Stop() must be called before the last reference goes.
    LinuxWifiHotspot(std::shared_ptr<WifiContext> context, HotspotOptions options);
    ~LinuxWifiHotspot() override;

    // True from the moment EnableHotspot accepted, and for a hotspot that somebody else turned on.
    int32_t IsHotspotActive(bool& isActive) override;
    // WIFI_DISABLED while Wi-Fi is switched off. Enabling while a hotspot is on changes nothing.
    int32_t EnableHotspot(Wifi::ServiceType type) override;
    // WIFI_FAILED when somebody else turned the hotspot on: it stays on.
    int32_t DisableHotspot(Wifi::ServiceType type) override;
    // Returns the configuration of the hotspot that is on, else of the one that enabling would turn on. While
    // NetworkManager gives no answer: of the one that was turned on here.
    int32_t GetHotspotConfig(Wifi::HotspotConfig& config) override;

    Wifi::ShareInfo Look() override;
    [[nodiscard]] Result<void> Close(const char* reason) override;
    void SetListener(std::function<void()> changed) override { listener_.Set(std::move(changed)); }

    // Makes a new key for hotspots of ours, and turns off one that is on, because somebody who knows the key may no
    // longer join. Returns the SSID of the user's own hotspot, whose key stays, or an empty text when enabling would
    // turn on one of ours. After an error the key is new all the same, unless the error is of the disk. Blocks for
    // NetworkManager.
    [[nodiscard]] Result<std::string> ChangeKey();

    // On the strand: something about the radios has changed; NetworkManager has gone; the battery is low.
    void OnChanged();
    void OnGone();
    void OnBatteryLow();
    // Turns off what it turned on, and blocks until that is done.
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

    // These run on the strand only.
    int32_t Enable(WifiContext::Deadline deadline);
    // manager: for the calls before the hotspot opens, which the caller's deadline limits.
    int32_t Open(const NetworkManager& manager, const WifiRadio& radio);
    void OpenLater(const WifiRadio& radio);
    void OpenNow(const std::string& radio);
    // False when NetworkManager did not answer; it is then closed later.
    bool CloseOwn(const char* reason);
    void Forget();
    // Whether the same profile is active again, as after a change of its settings. Then it still is this daemon's.
    bool WasRenewed();
    void Guard();
    void GuardLater();
    // interface: of the hotspot, once it is on the air; else empty.
    void SetOn(bool isOn, const std::string& interface = "");

    // These only read. Any thread may call them.
    [[nodiscard]] Result<Chosen> Choose(const NetworkManager& manager) const;
    // Returns nothing while no hotspot is on.
    [[nodiscard]] static Result<std::optional<Wifi::HotspotConfig>> ConfigInUse(const NetworkManager& manager);
    [[nodiscard]] Result<Wifi::HotspotConfig> ReadConfig(const NetworkManager& manager) const;
    Wifi::HotspotConfig MakeOwnConfig() const;

    const std::shared_ptr<WifiContext> context_;
    const HotspotOptions options_;

    mutable Mutex mutex_;
    std::string generatedKey_ GUARDED_BY(mutex_);  // secret
    bool isOn_ GUARDED_BY(mutex_) = false;
    std::optional<Wifi::HotspotConfig> opened_ GUARDED_BY(mutex_);  // what share_ was opened with; secret
    bool hasStopBegun_ GUARDED_BY(mutex_) = false;
    bool isOpenedHere_ GUARDED_BY(mutex_) = false;
    uint32_t openings_ GUARDED_BY(mutex_) = 0;  // since the start of the daemon
    std::string interface_ GUARDED_BY(mutex_);  // of the hotspot, once it is on the air

    // Touched on the strand only.
    std::optional<Share> share_;
    bool isOpening_ = false;      // accepted, waiting for switchDelay
    bool hasJustOpened_ = false;  // the latest call to enable has turned it on
    uint32_t openingsSet_ = 0;    // the number of the latest wait for switchDelay
    bool isStopped_ = false;
    ShareGuard guard_;
    Tasks::Timer timer_;

    Tasks::ChangeListener listener_;  // own synchronisation
};

}  // namespace Vexo::Linux
