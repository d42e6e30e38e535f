// SimulatedWifiDevice: the station of a simulated device (ability 1120), also as StationControl. An attempt to connect
// looks for the hotspot in the air until it is there and compares security and key; a connection lasts as long as the
// hotspot's record does. While it looks or is connected a watcher of the air folder tells of changes, so nothing polls.
// Any thread may call it; looking runs on a strand of its own. Each end of an attempt and of a connection publishes a
// connectivity event of type WIFI: CONNECTED, FAILED or DISCONNECTED. An attempt that a newer one replaced ends
// silently.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "backends/simulated/air.h"
#include "backends/simulated/live_state.h"
#include "platform/base/folder_watcher.h"
#include "platform/base/mutex.h"
#include "platform/events/common_event_manager.h"
#include "platform/events/common_event_support.h"
#include "platform/ipc/iremote_object.h"
#include "platform/tasks/change_listener.h"
#include "platform/tasks/elastic_pool.h"
#include "platform/tasks/timers.h"
#include "platform/wifi/station.h"
#include "platform/wifi/station_control.h"
#include "platform/wifi/wifi_device.h"

namespace Vexo::Simulated {

// How long an attempt looks for a hotspot that is not there.
inline constexpr std::chrono::seconds SEARCH_LIMIT{5};

class SimulatedWifiDevice : public IPCObjectStub, public Wifi::WifiDevice, public Wifi::StationControl {
public:
    // events: where connectivity events are published. Stop() must be called before the last reference goes.
    SimulatedWifiDevice(std::shared_ptr<LiveState> live, Air air, sptr<EventFwk::ICommonEventService> events,
                        std::chrono::milliseconds searchLimit = SEARCH_LIMIT,
                        Tasks::Timers& timers = Tasks::Timers::System());
    ~SimulatedWifiDevice() override;

    int32_t GetDeviceConfigs(std::vector<Wifi::WifiDeviceConfig>& configs, bool isCandidate) override;
    int32_t AddDeviceConfig(const Wifi::WifiDeviceConfig& config, int& networkId, bool isCandidate) override;
    // With an empty SSID, the stored configuration of config.networkId is meant.
    int32_t ConnectToDevice(const Wifi::WifiDeviceConfig& config) override;

    Wifi::WifiLinkInfo GetLinkInfo() override { return station_.LinkInfo(); }
    // Returns at once when the device has stopped.
    Wifi::WifiLinkInfo WaitForChange(const Wifi::WifiLinkInfo& known, std::chrono::milliseconds limit) override
    {
        return station_.WaitForChange(known, limit);
    }

    std::optional<Wifi::JoinedNetwork> Joined() override;
    [[nodiscard]] Result<Wifi::LeftNetwork> Leave(uint32_t attempt, std::chrono::milliseconds limit) override;

    // What the hotspot that this attempt has joined has in the air. Blocks for the disk.
    std::optional<AirRecord> JoinedHotspot(uint32_t attempt);
    // changed is called after a hotspot was joined or left. As NetworkMonitor::SetListener otherwise.
    void SetListener(std::function<void()> changed) { listener_.Set(std::move(changed)); }

    // To be called after the live state changed: Wi-Fi that is off or gone ends attempt and connection.
    void OnStateChanged();
    // Ends attempt, connection and waits, silently; returns when nothing of it runs any more.
    void Stop();

private:
    // What the air has under the name of a network.
    struct Sighting {
        bool isVisible = false;
        AirRecord record;
        std::optional<Wifi::LinkEnd> mismatch{};  // why it cannot be joined
    };

    bool PostLook();
    // Looks into the air and moves the station on; these run on strand_ only.
    void Look();
    void LookWhileConnecting(const Wifi::Station::Join& join, const Sighting& sighting);
    Sighting Sight(const Wifi::WifiDeviceConfig& wanted);
    std::optional<Wifi::LinkEnd> MismatchOf(const Wifi::WifiDeviceConfig& wanted, const AirRecord& record);
    void LookAgainIn(std::chrono::microseconds delay);
    void OnJoined(const Wifi::Station::Join& join, const AirRecord& hotspot);
    // Puts this device's record into the air unless it is there.
    void PutRecord(const std::string& bssid);
    // Takes this device's record out of the air; whether there was one. Joined() follows the state of station_.
    bool ClearJoined();
    // Ends that attempt, as a person's wish; false when it is not the latest or has ended.
    bool EndByWish(uint32_t attempt);
    void StopLooking();
    bool StartWatching();
    // Does nothing once a newer attempt has begun.
    void End(uint32_t attempt, const Wifi::LinkEnd& end);
    void Publish(Wifi::WifiLinkState state);

    const std::shared_ptr<LiveState> live_;
    const Air air_;
    const sptr<EventFwk::ICommonEventService> events_;
    const std::chrono::milliseconds searchLimit_;
    Tasks::Timers& timers_;

    // Touched on strand_ only.
    bool stopped_ = false;
    std::unique_ptr<FolderWatcher> watcher_;
    Tasks::Timer timer_;
    SteadyTime joinedAt_;     // when the attempt that is JOINING has joined
    std::string provenSsid_;  // what proof_ was made of; making one is slow
    std::string provenKey_;
    std::string proof_;
    StationPresence presence_;
    std::optional<StationRecord> record_;  // that is in the air

    Mutex mutex_;
    std::optional<Wifi::JoinedNetwork> joined_ GUARDED_BY(mutex_);  // by the latest attempt that joined one
    std::string joinedBssid_ GUARDED_BY(mutex_);

    Wifi::Station station_;           // own synchronisation
    Tasks::ChangeListener listener_;  // own synchronisation
    Tasks::Strand strand_;            // own synchronisation
};

}  // namespace Vexo::Simulated
