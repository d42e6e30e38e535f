// SimulatedHotspot: the access point of a simulated device (ability 1121), as requests and as its sharing use it. On
// means: this device has a record in the air. Any thread may call it; the air is written on a strand of its own, so
// that no call of WifiHotspot waits for the disk.
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
    // A key is generated now and used while the state names none. Stop() must be called before the last reference goes.
    SimulatedHotspot(std::shared_ptr<LiveState> live, Air air, std::string deviceName,
                     Tasks::Timers& timers = Tasks::Timers::System());
    ~SimulatedHotspot() override;

    // True from the moment EnableHotspot accepted, though the record may still be on its way.
    int32_t IsHotspotActive(bool& isActive) override;
    // WIFI_DISABLED while Wi-Fi is switched off. Enabling an active hotspot changes nothing.
    int32_t EnableHotspot(Wifi::ServiceType type) override;
    int32_t DisableHotspot(Wifi::ServiceType type) override;
    // Also while the hotspot is off.
    int32_t GetHotspotConfig(Wifi::HotspotConfig& config) override;

    // Makes a new key for this run; a hotspot that is on goes on with it. Returns the SSID when the state names a key,
    // which stays, else an empty text.
    std::string ChangeKey();

    // On when this device starts, by somebody else, whatever faults the calls have.
    void StartActive() { TurnOn(false); }

    Wifi::ShareInfo Look() override;
    [[nodiscard]] Result<void> Close(const char* reason) override;
    void SetListener(std::function<void()> changed) override { listener_.Set(std::move(changed)); }

    // To be called after the live state or the device's uplink changed: the air follows.
    void OnStateChanged();
    // Off for good; returns when the record is out of the air.
    void Stop();

private:
    struct Settings {
        std::string ssid;
        std::string key;  // secret; empty when open
        HotspotSecurity security = HotspotSecurity::WPA2;
        bool operator==(const Settings&) const = default;
    };

    void TurnOn(bool isOpenedHere);
    // reason: of ShareClosed, for a hotspot that was opened here; null when this daemon is not who turns it off.
    void TurnOff(const char* reason);
    Settings CurrentSettings() const;
    AirRecord MakeRecord();
    // Brings the air in line with what is wanted; on strand_ only.
    void Refresh();

    const std::shared_ptr<LiveState> live_;
    const Air air_;
    const std::string defaultSsid_;
    Tasks::Timers& timers_;

    mutable Mutex mutex_;
    std::string generatedKey_ GUARDED_BY(mutex_);  // secret
    bool active_ GUARDED_BY(mutex_) = false;
    bool isOpenedHere_ GUARDED_BY(mutex_) = false;
    uint32_t opening_ GUARDED_BY(mutex_) = 0;
    bool stopped_ GUARDED_BY(mutex_) = false;
    SteadyTime visibleFrom_ GUARDED_BY(mutex_);
    Tasks::Timer timer_ GUARDED_BY(mutex_);

    // Touched on strand_ only.
    std::optional<AirRecord> published_;
    Settings proven_;  // what proof_ was made of; making one is slow
    std::string proof_;

    Tasks::ChangeListener listener_;  // own synchronisation
    Tasks::Strand strand_;            // own synchronisation
};

}  // namespace Vexo::Simulated
