// TestDevice: a simulated device with its own ability registry and state folder. All devices in the same world folder
// use its subfolder "air", in which their simulated radios find each other. Compiled only into the tests of the
// simulated backend.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "backends/simulated/simulated_device.h"
#include "tests/support/eventually.h"
#include "tests/support/fake_ability_manager.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_folder.h"

namespace Vexo::Tests {

class TestDevice {
public:
    // Writes the assignments to the state file, then starts the device. assignments: texts of the form KEY=VALUE, which
    // `sim set` accepts, too.
    TestDevice(const std::filesystem::path& world, const std::string& name, const std::string& networkId,
               const std::vector<std::string>& assignments = {})
    {
        options_.stateDir = world / name;
        options_.airDir = world / "air";
        options_.deviceName = name;
        options_.networkId = networkId;
        options_.registry = registry_;
        options_.searchLimit = std::chrono::milliseconds(300);
        options_.noAnswerLimit = std::chrono::milliseconds(50);
        std::filesystem::create_directories(options_.stateDir);
        if (!assignments.empty()) {
            Simulated::DeviceState state;
            for (const std::string& text : assignments) {
                const size_t equals = text.find('=');
                EXPECT_TRUE(Simulated::SetByPath(state, text.substr(0, equals), text.substr(equals + 1)));
            }
            EXPECT_TRUE(Simulated::SaveDeviceState(options_.stateDir, state));
        }
        Start();
    }

    void Start()
    {
        auto started = Simulated::SimulatedDevice::Start(options_);
        ASSERT_TRUE(started) << started.error().message;
        device_ = std::move(started.value());
    }
    void End() { device_.reset(); }
    void Stop() { device_->Stop(); }

    void Set(const std::vector<std::string>& assignments)
    {
        const auto updated = Simulated::UpdateDeviceState(options_.stateDir, assignments);
        ASSERT_TRUE(updated) << updated.error().message;
    }

    template <typename Interface>
    sptr<Interface> Find(int32_t systemAbilityId)
    {
        return registry_->GetSystemAbility(systemAbilityId).Cast<Interface>();
    }
    sptr<Wifi::WifiHotspot> Hotspot() { return Find<Wifi::WifiHotspot>(WIFI_HOTSPOT_SYS_ABILITY_ID); }
    sptr<Wifi::WifiDevice> Station() { return Find<Wifi::WifiDevice>(WIFI_DEVICE_SYS_ABILITY_ID); }
    sptr<Telephony::ICoreService> Core()
    {
        return Find<Telephony::ICoreService>(TELEPHONY_CORE_SERVICE_SYS_ABILITY_ID);
    }
    sptr<Telephony::ICellularData> Data()
    {
        return Find<Telephony::ICellularData>(TELEPHONY_CELLULAR_DATA_SYS_ABILITY_ID);
    }
    sptr<EventFwk::ICommonEventService> Events()
    {
        return Find<EventFwk::ICommonEventService>(COMMON_EVENT_SERVICE_ID);
    }
    Wifi::ShareControl& Share() { return device_->Share(); }
    Wifi::StationControl& StationControl() { return device_->Station(); }
    Network::NetworkMonitor& Network() { return device_->Network(); }
    const Simulated::SimulatedDeviceOptions& Options() const { return options_; }

    // Returns the hotspots that another device finds in the folder "air".
    std::vector<Simulated::AirRecord> Air() const { return Simulated::Air(options_.airDir, "observer").Records(); }

private:
    const sptr<FakeAbilityManager> registry_ = MakeSptr<FakeAbilityManager>();
    Simulated::SimulatedDeviceOptions options_;
    std::unique_ptr<Simulated::SimulatedDevice> device_;
};

}  // namespace Vexo::Tests
