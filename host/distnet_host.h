// DistNetHost: what the daemon says about itself (ability 1164). It asks the registry and the
// platform each time and never loads the service. Called on IPC workers, several at once; WaitForWifi and GetEvents do
// not block, GetChecks blocks on the disk and the radio, the others for no longer than 200 ms.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "host/account_link.h"
#include "host/change_waits.h"
#include "host/configuration.h"
#include "host/distnet_host_stub.h"
#include "host/hotspot_state.h"
#include "interfaces/host_answers.h"
#include "platform/ability/system_ability_manager.h"
#include "platform/base/clock.h"
#include "platform/base/mutex.h"
#include "platform/dfx/event_file.h"
#include "platform/dfx/health_check.h"
#include "platform/dfx/trace_recorder.h"
#include "platform/ipc/ipc_server.h"
#include "platform/wifi/wifi_device.h"

namespace Vexo::Host {

// What a daemon is, and who knows what of it changes; given once.
struct HostFacts {
    Configuration configuration;
    sptr<SystemAbilityManager> abilities;
    std::function<LinkFacts()> link;  // as of now: the device may be enrolled while the daemon runs
    std::function<Ipc::IpcServerCounts()> ipcCounts;
    // What the device says of its radios and daemons (host/device.h); may be empty.
    std::function<std::vector<QuviewDFX::HealthCheck>()> deviceChecks;
    std::function<RadioState()> radio;  // of the Wi-Fi ability, while there is one
    std::shared_ptr<QuviewDFX::EventFile> events;
    std::shared_ptr<QuviewDFX::TraceRecorder> traces;
};

class DistNetHost : public DistNetHostStub {
public:
    explicit DistNetHost(HostFacts facts);

    int32_t GetStatus(HostStatus& status) override;
    int32_t GetCounts(HostCounts& counts) override;
    int32_t GetDevices(DeviceList& devices) override;
    int32_t GetChecks(CheckList& checks) override;
    int32_t StartTrace(std::chrono::milliseconds limit, bool detached, TraceRecording& started) override;
    int32_t StopTrace(uint32_t recording, uint64_t offset, TracePiece& piece) override;
    void WaitForWifi(uint32_t attempt, WifiState state, std::chrono::milliseconds limit,
                     Answer<WifiStatus> answer) override;
    void GetEvents(uint64_t cursor, std::chrono::milliseconds limit, Answer<EventPage> answer) override;

private:
    std::shared_ptr<ChangeWaits> WaitsFor(const std::shared_ptr<Wifi::WifiDevice>& device) EXCLUDES(mutex_);

    const HostFacts facts_;
    const std::shared_ptr<ChangeWaits> eventWaits_ = ChangeWaits::Make();
    Mutex mutex_;
    // Of the radio that was there last: another one has changes of its own.
    const Wifi::WifiDevice* waitedFor_ GUARDED_BY(mutex_) = nullptr;
    std::shared_ptr<ChangeWaits> wifiWaits_ GUARDED_BY(mutex_);
    HotspotState hotspot_;
    const SteadyTime started_ = Clock::System().Now();
};

// What stands behind an ability of that id in a daemon of that platform: "simulated", "platform", "host" or "service".
std::string BackendOf(int32_t systemAbilityId, const std::string& platform);

}  // namespace Vexo::Host
