// Daemon: the composition root of distnetd. It creates the platform's services from the configuration and registers
// them. It opens the local socket last, when everything that requests need is running. A started Daemon is never
// destroyed, because the service's threads run until the process ends. Call Start once and Drain once; daemon.cpp shows
// their steps.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "host/account_link.h"
#include "host/account_operations.h"
#include "host/account_rights.h"
#include "host/configuration.h"
#include "host/device.h"
#include "host/memory.h"
#include "host/network_use.h"
#include "host/removal_effects.h"
#include "host/service_clients.h"
#include "host/service_library.h"
#include "host/state_folder.h"
#include "platform/ability/system_ability_manager.h"
#include "platform/base/nocopyable.h"
#include "platform/base/result.h"
#include "platform/dfx/event_file.h"
#include "platform/dfx/trace_recorder.h"
#include "platform/ipc/ipc_server.h"

namespace Vexo::Host {

// How long Drain waits for running requests to finish.
inline constexpr std::chrono::milliseconds DRAIN_LIMIT{1500};

class Daemon : public NoCopyable {
public:
    // Receives one line, without a newline, for a person. Runs on the thread of Start, and later on a thread of the
    // pool when the device joins an account, leaves an account or is removed from one.
    using Say = std::function<void(const std::string& line)>;

    // Starts everything. Blocks on the disk and, at a device's first start, on key generation. On failure the error
    // says what could not be started and why; everything that was started is stopped again, and only files and folders
    // remain.
    [[nodiscard]] static Result<std::unique_ptr<Daemon>> Start(const Configuration& configuration, const Say& say);

    // Stops accepting work: removes the socket, loads no ability, closes sessions, and makes session opens and radio
    // queries fail. Waits for the running requests, except those of ability 1164, at most DRAIN_LIMIT. The caller must
    // then end the process.
    void Drain();

private:
    explicit Daemon(const Configuration& configuration);

    [[nodiscard]] Result<void> PrepareFolders();
    [[nodiscard]] Result<void> PrepareRecords(const Say& say);
    // If standard error is connected to the journal, sends log lines and events to the journal and returns true.
    bool UseJournal(const Say& say);
    void InstallAccess(const Say& say);
    void InstallAbilities();
    [[nodiscard]] Result<void> StartDevice(const PlatformChoice& choice, const Say& say);
    void StartNetworkUse();
    [[nodiscard]] Result<void> StartLink(const Say& say);
    AccountLinkOptions LinkOptions(const Say& say);
    void PublishHost();
    [[nodiscard]] Result<void> Listen();
    std::string Addresses() const;
    void SayEnrolled(const Say& say) const;
    void OnProcessGone();
    int32_t Run(const Ipc::IpcHeader& request, MessageParcel& data, MessageParcel& reply);

    const Configuration configuration_;
    const std::shared_ptr<IdleMemory> memory_ = IdleMemory::Make();
    ServiceLibrary library_;
    std::unique_ptr<StateFolder> folder_;
    std::shared_ptr<QuviewDFX::EventFile> events_;
    const std::shared_ptr<QuviewDFX::TraceRecorder> traces_;
    std::string networkId_;  // network id of the device's key when the daemon started
    sptr<SystemAbilityManager> abilities_;
    std::unique_ptr<ServiceClients> clients_;
    std::unique_ptr<Device> device_;
    std::unique_ptr<RemovalEffects> removals_;
    std::unique_ptr<NetworkUse> network_;
    std::shared_ptr<AccountLink> link_;
    std::atomic<AccountLink*> usedLink_{nullptr};  // link_ after it is created; automatic mode may need it earlier
    std::shared_ptr<AccountOperations> account_;
    std::shared_ptr<AccountRights> accountRights_;
    std::unique_ptr<Ipc::IpcServer> ipc_;
    std::atomic<Ipc::IpcServer*> counted_{nullptr};  // set to ipc_ after ipc_ exists; a request may arrive before that
    std::atomic<size_t> asking_{0};                  // running requests to ability 1164, which Drain does not wait for
};

}  // namespace Vexo::Host
