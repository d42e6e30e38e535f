// SimulatedDevice: the simulated backend of one device. It creates the abilities of the table below, which shows the id
// of each ability. An ability with a key of device-state.json in parentheses is registered only while that key is true.
// SimulatedDevice reads device-state.json again when the file changes. A change of the screen, or a battery that
// becomes low, is published as a common event. For all other keys, the abilities return the new values from then on.
//   3299 common events    4010 telephony    4011 mobile data
//   1120 Wi-Fi device (wifi.station_present)    1121 Wi-Fi hotspot (wifi.hotspot_present)
// The host creates one SimulatedDevice. Any thread may use it. DescribeDeviceState in device_state.h explains each key
// of the file.
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
    std::filesystem::path stateDir;  // the folder of device-state.json; created if missing
    std::filesystem::path airDir;    // the folder that all devices in radio range share; created if missing
    std::string deviceName;
    std::string networkId;                 // 4 to 64 letters and digits; part of the names of record files
    sptr<ISystemAbilityManager> registry;  // null: the registry of this process
    std::chrono::milliseconds searchLimit = SEARCH_LIMIT;
    std::chrono::milliseconds noAnswerLimit = NO_ANSWER_LIMIT;
};

class SimulatedDevice : public NoCopyable {
public:
    // Creates the device and blocks until its abilities are registered. If the state file is missing, writes a file
    // with the defaults. A damaged file is logged and not changed; the defaults apply until somebody replaces the file.
    // The error names the folder or the option that is wrong.
    [[nodiscard]] static Result<std::unique_ptr<SimulatedDevice>> Start(const SimulatedDeviceOptions& options);
    // Calls Stop and removes the abilities from the registry.
    ~SimulatedDevice();

    // Turns the hotspot off. Ends the Wi-Fi attempt or connection, the calls that an injected fault delays, and the
    // open radio state queries. The abilities stay registered but refuse work. Blocks until this device's work has
    // finished, except for the callbacks of the radio state queries. A second call does nothing.
    void Stop();

    // Changes the key of the hotspot (SimulatedHotspot::ChangeKey). Any thread.
    std::string ChangeHotspotKey() { return hotspot_->ChangeKey(); }

    // The next three functions return references that are valid until this object is destroyed. Any thread may use
    // them.
    Wifi::ShareControl& Share() { return *hotspot_; }
    Wifi::StationControl& Station() { return *station_; }
    Network::NetworkMonitor& Network() { return network_; }

    // Returns the state that was last read from device-state.json. Any thread may call it.
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
    // The following functions run on reloads_ only.

    // Reads the state from device-state.json. Returns nullopt if the file is damaged. This error is logged once.
    std::optional<DeviceState> Read();
    // Reads device-state.json and applies what has changed in it.
    void ReloadState();
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

    // Only the constructor, the destructor and work on reloads_ use the following members.
    std::vector<Ability> abilities_;
    std::string lastError_;

    Tasks::Strand reloads_;  // own synchronisation
    std::unique_ptr<FolderWatcher> watcher_;
    bool stopped_ = false;
};

}  // namespace Vexo::Simulated
