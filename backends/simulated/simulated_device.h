// SimulatedDevice: the simulated backend of one device. It makes the abilities of the table below, registers those that
// the device has, and follows device-state.json: a change of screen or battery becomes a common event, a radio that
// comes or goes is registered or removed, everything else is what the abilities answer from then on.
//   3299 common events    4010 telephony    4011 mobile data
//   1120 Wi-Fi device (wifi.station_present)    1121 Wi-Fi hotspot (wifi.hotspot_present)
// The host makes one; any thread may use it. What each file key means: DescribeDeviceState in device_state.h.
#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "backends/simulated/live_state.h"
#include "backends/simulated/simulated_hotspot.h"
#include "backends/simulated/simulated_network.h"
#include "backends/simulated/simulated_telephony.h"
#include "backends/simulated/simulated_wifi_device.h"
#include "platform/ability/iservice_registry.h"
#include "platform/base/folder_watcher.h"
#include "platform/base/nocopyable.h"
#include "platform/base/result.h"
#include "platform/events/common_event_server.h"
#include "platform/tasks/elastic_pool.h"

namespace Vexo::Simulated {

struct SimulatedDeviceOptions {
    std::filesystem::path stateDir;  // where device-state.json is; created when missing
    std::filesystem::path airDir;    // shared with the devices that are to meet; created when missing
    std::string deviceName;
    std::string networkId;                 // 4 to 64 letters and digits; names this device's record in the air
    sptr<ISystemAbilityManager> registry;  // null: the process's own
    std::chrono::milliseconds searchLimit = SEARCH_LIMIT;
    std::chrono::milliseconds noAnswerLimit = NO_ANSWER_LIMIT;
};

class SimulatedDevice : public NoCopyable {
public:
    // Blocks until the abilities are registered. A missing state file is written with the defaults; a damaged one is
    // left as it is, logged, and the defaults hold until it is replaced. The error names the folder, or what is wrong
    // with an option.
    [[nodiscard]] static Result<std::unique_ptr<SimulatedDevice>> Start(const SimulatedDeviceOptions& options);
    // Stops, and removes its abilities from the registry.
    ~SimulatedDevice();

    // Takes the hotspot out of the air, ends attempts, connections, faults in progress and radio queries. The abilities
    // stay registered and refuse work. Blocks for what runs on this device's strands; a second call does nothing.
    void Stop();

    // Changes the key of the hotspot (SimulatedHotspot::ChangeKey). Any thread.
    std::string ChangeHotspotKey() { return hotspot_->ChangeKey(); }

    // Any thread. Valid for this object's life.
    Wifi::ShareControl& Share() { return *hotspot_; }
    Wifi::StationControl& Station() { return *station_; }
    Network::NetworkMonitor& Network() { return network_; }

    // What the state file said last. Any thread.
    std::shared_ptr<const DeviceState> State() const { return live_->Get(); }

private:
    struct Ability {
        int32_t id;
        sptr<IRemoteObject> object;
        bool (*isPresent)(const DeviceState& state);
        bool isRegistered = false;
    };

    SimulatedDevice(const SimulatedDeviceOptions& options, sptr<ISystemAbilityManager> registry);

    [[nodiscard]] Result<void> Begin();
    // These run on reloads_ only.
    // The state in the file; none when it is damaged, which is logged once.
    std::optional<DeviceState> Read();
    // Brings the device in line with the file.
    void Follow();
    void LeaveByHand();
    void PublishChanges(const DeviceState& before, const DeviceState& after);
    void RegisterAbilities(const DeviceState& state);

    const std::filesystem::path stateDir_;
    const sptr<ISystemAbilityManager> registry_;
    const Air air_;
    const std::shared_ptr<LiveState> live_;
    const sptr<EventFwk::CommonEventServer> events_;
    const sptr<SimulatedCoreService> coreService_;
    const sptr<SimulatedCellularData> cellularData_;
    const sptr<SimulatedWifiDevice> station_;
    const sptr<SimulatedHotspot> hotspot_;
    SimulatedNetwork network_;  // own synchronisation

    // Touched on reloads_ only, and before and after its life.
    std::vector<Ability> abilities_;
    std::string lastComplaint_;

    Tasks::Strand reloads_;  // own synchronisation
    std::unique_ptr<FolderWatcher> watcher_;
    bool stopped_ = false;
};

}  // namespace Vexo::Simulated
