// SimulatedWifiDevice: the station of a simulated device (ability 1120). It also implements StationControl. An attempt
// to connect reads the air (air.h) until the hotspot's record appears, and then checks that the security and the key of
// the configuration match the record. A connection lasts as long as the record exists and matches. During an attempt or
// a connection, a watcher of the air folder reports changes, so nothing polls. Any thread may call this class. A strand
// of this class reads the air. The end of each attempt and of each connection publishes a connectivity event of type
// WIFI: CONNECTED, FAILED or DISCONNECTED. If a newer attempt replaces an attempt, the replaced attempt publishes
// nothing.
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

// How long an attempt searches while the air contains no record of the hotspot.
inline constexpr std::chrono::seconds SEARCH_LIMIT{5};

class SimulatedWifiDevice : public IPCObjectStub, public Wifi::WifiDevice, public Wifi::StationControl {
public:
    // events: publishes the connectivity events. Stop() must be called before the last reference is released.
    SimulatedWifiDevice(std::shared_ptr<LiveState> live, Air air, sptr<EventFwk::ICommonEventService> events,
                        std::chrono::milliseconds searchLimit = SEARCH_LIMIT,
                        Tasks::Timers& timers = Tasks::Timers::System());
    ~SimulatedWifiDevice() override;

    int32_t GetDeviceConfigs(std::vector<Wifi::WifiDeviceConfig>& configs, bool isCandidate) override;
    int32_t AddDeviceConfig(const Wifi::WifiDeviceConfig& config, int& networkId, bool isCandidate) override;
    // If the SSID is empty, uses the stored configuration with the number config.networkId.
    int32_t ConnectToDevice(const Wifi::WifiDeviceConfig& config) override;

    Wifi::WifiLinkInfo GetLinkInfo() override { return station_.LinkInfo(); }
    // Returns at once after Stop().
    Wifi::WifiLinkInfo WaitForChange(const Wifi::WifiLinkInfo& known, std::chrono::milliseconds limit) override
    {
        return station_.WaitForChange(known, limit);
    }

    std::optional<Wifi::JoinedNetwork> Joined() override;
    [[nodiscard]] Result<Wifi::LeftNetwork> Leave(uint32_t attempt, std::chrono::milliseconds limit) override;

    // Returns the record of the hotspot that this attempt has joined. Returns nullopt if the attempt is not connected,
    // or if the record no longer exists. Blocks on the disk.
    std::optional<AirRecord> JoinedHotspot(uint32_t attempt);
    // Sets the callback that is called after this device has joined or left a hotspot. The rules of
    // NetworkMonitor::SetListener apply.
    void SetListener(std::function<void()> changed) { listener_.Set(std::move(changed)); }

    // Call this after the device's state has changed. Ends the attempt or the connection if Wi-Fi is off or the radio
    // was removed.
    void OnStateChanged();
    // Ends the attempt, the connection and all waiting calls. Publishes no event. Blocks until no work runs on the
    // strand.
    void Stop();

private:
    // The result of FindNetwork: the hotspot record with the wanted SSID, if the air contains one.
    struct FoundNetwork {
        bool isVisible = false;
        AirRecord record;
        std::optional<Wifi::LinkEnd> mismatch{};  // why the network cannot be joined
    };

    bool PostCheck();
    // The following functions run on strand_ only.

    // Reads the air and advances the state of the station.
    void CheckAir();
    void CheckWhileConnecting(const Wifi::Station::Join& join, const FoundNetwork& found);
    FoundNetwork FindNetwork(const Wifi::WifiDeviceConfig& wanted);
    std::optional<Wifi::LinkEnd> MismatchOf(const Wifi::WifiDeviceConfig& wanted, const AirRecord& record);
    void CheckAgainIn(std::chrono::microseconds delay);
    void OnJoined(const Wifi::Station::Join& join, const AirRecord& hotspot);
    // Writes this device's station record, unless the air already contains the same record.
    void PutRecord(const std::string& bssid);
    // Removes this device's station record. Returns true if a hotspot was joined. joined_ need not be reset, because
    // Joined() returns joined_ only while station_ is CONNECTED.
    bool ClearJoined();
    // Ends the given attempt or its connection, because a caller requested it. Returns false if a newer attempt has
    // begun, or if this attempt has already ended.
    bool EndOnRequest(uint32_t attempt);
    void StopWatching();
    bool StartWatching();
    // Removes the station record and ends the attempt. Publishes nothing if a newer attempt has begun.
    void End(uint32_t attempt, const Wifi::LinkEnd& end);
    void Publish(Wifi::WifiLinkState state);

    const std::shared_ptr<LiveState> live_;
    const Air air_;
    const sptr<EventFwk::ICommonEventService> events_;
    const std::chrono::milliseconds searchLimit_;
    Tasks::Timers& timers_;

    // The following members are used on strand_ only.
    bool stopped_ = false;
    std::unique_ptr<FolderWatcher> watcher_;
    Tasks::Timer timer_;
    SteadyTime joinedAt_;     // when the state JOINING ends
    std::string provenSsid_;  // proof_ is the proof of provenKey_ for the SSID provenSsid_
    std::string provenKey_;
    std::string proof_;
    StationPresence presence_;
    std::optional<StationRecord> record_;  // this device's record in the air

    Mutex mutex_;
    std::optional<Wifi::JoinedNetwork> joined_ GUARDED_BY(mutex_);  // network of the latest attempt that has joined one
    std::string joinedBssid_ GUARDED_BY(mutex_);

    Wifi::Station station_;           // own synchronisation
    Tasks::ChangeListener listener_;  // own synchronisation
    Tasks::Strand strand_;            // own synchronisation
};

}  // namespace Vexo::Simulated
