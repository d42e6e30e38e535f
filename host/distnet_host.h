// DistNetHost: answers requests about the daemon itself (ability 1164). For each request it queries the registry and
// the platform. It never loads the service. Several IPC workers may call it at once. WaitForWifi and ScanDevices do not
// block. GetEvents blocks on the disk. GetChecks blocks on the disk, the radio and the machine's daemons. The other
// functions block for at most 200 ms.
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "host/account_link.h"
#include "host/account_operations.h"
#include "host/account_rights.h"
#include "host/change_waits.h"
#include "host/configuration.h"
#include "host/distnet_host_stub.h"
#include "host/hotspot_state.h"
#include "host/online/online.h"
#include "host/sharing/sharing.h"
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

// The sources of DistNetHost's answers: values that stay the same while the daemon runs, and functions that return the
// values that change.
struct HostFacts {
    Configuration configuration;
    sptr<SystemAbilityManager> abilities;
    std::function<LinkFacts()> link;  // its result changes when the device is enrolled while the daemon runs
    std::function<Ipc::IpcServerCounts()> ipcCounts;
    // Returns the results of Device::Checks, NetworkUse::CheckUplink and RemovalEffects::Check. May be null.
    std::function<std::vector<QuviewDFX::HealthCheck>()> deviceChecks;
    std::function<RadioState()> radio;  // called only while a Wi-Fi ability is registered
    std::shared_ptr<QuviewDFX::EventFile> events;
    std::shared_ptr<QuviewDFX::TraceRecorder> traces;
    std::filesystem::path identityFolder;
    // If account and accountRights are null, requests about the account are answered as unknown requests.
    std::shared_ptr<AccountOperations> account;
    std::shared_ptr<AccountRights> accountRights;
    // If online and sharing are null, requests about getting online and sharing are answered as unknown requests.
    std::shared_ptr<Online> online;
    std::shared_ptr<Sharing> sharing;
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
    void ScanDevices(Answer<DeviceList> answer) override;

private:
    MembershipStatus Membership(const LinkFacts& link) const;
    std::shared_ptr<ChangeWaits> WaitsFor(const std::shared_ptr<Wifi::WifiDevice>& device) EXCLUDES(mutex_);

    const HostFacts facts_;
    const std::shared_ptr<ChangeWaits> eventWaits_ = ChangeWaits::Make();
    Mutex mutex_;
    // The Wi-Fi device whose changes wifiWaits_ waits for. When the radio is replaced, later waits use a new
    // ChangeWaits.
    const Wifi::WifiDevice* waitedFor_ GUARDED_BY(mutex_) = nullptr;
    std::shared_ptr<ChangeWaits> wifiWaits_ GUARDED_BY(mutex_);
    HotspotState hotspot_;
    const SteadyTime started_ = Clock::System().Now();
};

// Returns which part of the program provides this ability: "service", "host", "platform", or the value of the parameter
// platform ("linux" or "simulated").
std::string BackendOf(int32_t systemAbilityId, const std::string& platform);

}  // namespace Vexo::Host
