// SimulatedHotspot: the access point of a simulated device (ability 1121). It also implements ShareControl. While the
// hotspot is on, this device has a hotspot record in the air (air.h). Any thread may call it. A strand of this class
// writes the record, so that no call of WifiHotspot waits for the disk.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "backends/simulated/air.h"
#include "backends/simulated/live_state.h"
#include "platform/base/mutex.h"
#include "platform/ipc/iremote_object.h"
#include "platform/tasks/change_listener.h"
#include "platform/tasks/elastic_pool.h"
#include "platform/tasks/timers.h"
#include "platform/wifi/share_control.h"
#include "platform/wifi/wifi_hotspot.h"

namespace Vexo::Simulated {

class SimulatedHotspot : public IPCObjectStub, public Wifi::WifiHotspot, public Wifi::ShareControl {
public:
    // Generates a Wi-Fi key, which is used while the device's state contains no key. Stop() must be called before the
    // last reference is released.
    SimulatedHotspot(std::shared_ptr<LiveState> live, Air air, std::string deviceName,
                     Tasks::Timers& timers = Tasks::Timers::System());
    ~SimulatedHotspot() override;

    // Sets isActive to true as soon as EnableHotspot has succeeded, even if the record is not in the air yet.
    int32_t IsHotspotActive(bool& isActive) override;
    // Returns WIFI_DISABLED while Wi-Fi is switched off. Succeeds and changes nothing if the hotspot is already on.
    int32_t EnableHotspot(Wifi::ServiceType type) override;
    int32_t DisableHotspot(Wifi::ServiceType type) override;
    // Also succeeds while the hotspot is off.
    int32_t GetHotspotConfig(Wifi::HotspotConfig& config) override;

    // Generates a new Wi-Fi key for this run. The hotspot uses this key, unless the device's state contains a key. A
    // hotspot that is on stays on. Returns an empty text if the device's state contains no key. Otherwise returns the
    // hotspot's SSID, because the hotspot keeps its key.
    std::string ChangeKey();

    // Turns the hotspot on when the device starts, as if another program had turned it on. Injected faults do not
    // apply.
    void StartActive() { TurnOn(false); }

    Wifi::ShareInfo ReadState() override;
    [[nodiscard]] Result<void> Close(const char* reason) override;
    void SetListener(std::function<void()> changed) override { listener_.Set(std::move(changed)); }

    // Call this after the device's state or the device's uplink has changed. Updates the hotspot record, or turns the
    // hotspot off if Wi-Fi is off or the radio was removed.
    void OnStateChanged();
    // Turns the hotspot off for good. Blocks until the hotspot record is removed.
    void Stop();

private:
    struct Settings {
        std::string ssid;
        std::string key;  // secret; empty if the hotspot is open
        HotspotSecurity security = HotspotSecurity::WPA2;
        bool operator==(const Settings&) const = default;
    };

    void TurnOn(bool isOpenedHere);
    // Turns the hotspot off. If EnableHotspot turned it on, reports the reason (ReportShareClosed).
    // reason: a value of ShareClosed; null: nothing is reported.
    void TurnOff(const char* reason);
    Settings CurrentSettings() const;
    AirRecord MakeRecord();
    // Writes or removes the hotspot record, so that it matches the state of the hotspot. Runs on strand_ only.
    void Refresh();

    const std::shared_ptr<LiveState> live_;
    const Air air_;
    const std::string defaultSsid_;
    Tasks::Timers& timers_;

    mutable Mutex mutex_;
    std::string generatedKey_ GUARDED_BY(mutex_);  // secret
    bool active_ GUARDED_BY(mutex_) = false;
    bool isOpenedHere_ GUARDED_BY(mutex_) = false;
    uint32_t openingNumber_ GUARDED_BY(mutex_) = 0;
    bool stopped_ GUARDED_BY(mutex_) = false;
    SteadyTime visibleFrom_ GUARDED_BY(mutex_);
    Tasks::Timer timer_ GUARDED_BY(mutex_);

    // The following members are used on strand_ only.
    std::optional<AirRecord> published_;
    Settings proven_;  // the settings from which proof_ was computed; computing a proof is slow
    std::string proof_;

    Tasks::ChangeListener listener_;  // own synchronisation
    Tasks::Strand strand_;            // own synchronisation
};

}  // namespace Vexo::Simulated
