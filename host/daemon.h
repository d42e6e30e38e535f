// Daemon: the composition of one device: it makes the platform's services from the configuration, registers them, and
// opens the local socket last, when everything behind it stands. It is never destroyed while the process lives: the
// service's threads run beside it to the end. Start and Drain on one thread each; the order of both is in daemon.cpp.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "host/account_link.h"
#include "host/configuration.h"
#include "host/device.h"
#include "host/memory.h"
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

// How long requests that run get to end by themselves once the daemon is told to go.
inline constexpr std::chrono::milliseconds DRAIN_LIMIT{1500};

class Daemon : public NoCopyable {
public:
    // Takes one line for the person who watches the daemon start, or the device being enrolled later, which is on a
    // thread of the pool; no newline at its end.
    using Say = std::function<void(const std::string& line)>;

    // Starts everything; blocks on the disk, and on key generation at a device's first start. The error says what could
    // not be started and why; nothing is left behind but the folders that were made.
    [[nodiscard]] static Result<std::unique_ptr<Daemon>> Start(const Configuration& configuration, const Say& say);

    // No new work from here on: the socket is gone, nothing is loaded, opens and radio queries fail and sessions close.
    // Returns once the requests that ran have ended, at the latest when the limit has passed since the call. The
    // process must end next.
    void Drain();

private:
    explicit Daemon(const Configuration& configuration);

    [[nodiscard]] Result<void> PrepareFolders();
    [[nodiscard]] Result<void> PrepareRecords(const Say& say);
    // True when the journal takes the log lines; then events go there too.
    bool UseJournal(const Say& say);
    void InstallAccess(const Say& say);
    void InstallAbilities();
    [[nodiscard]] Result<void> StartDevice(const PlatformChoice& choice, const Say& say);
    [[nodiscard]] Result<void> StartLink(const Say& say);
    void PublishHost();
    [[nodiscard]] Result<void> Listen();
    std::string Addresses() const;
    void SayEnrolled(const Say& say) const;
    int32_t Run(const Ipc::IpcHeader& request, MessageParcel& data, MessageParcel& reply);

    const Configuration configuration_;
    const std::shared_ptr<IdleMemory> memory_ = IdleMemory::Make();
    ServiceLibrary library_;
    std::unique_ptr<StateFolder> folder_;
    std::shared_ptr<QuviewDFX::EventFile> events_;
    const std::shared_ptr<QuviewDFX::TraceRecorder> traces_;
    std::string networkId_;  // of the key that the device had at its start
    sptr<SystemAbilityManager> abilities_;
    std::unique_ptr<ServiceClients> clients_;
    std::unique_ptr<Device> device_;
    std::shared_ptr<AccountLink> link_;
    std::unique_ptr<Ipc::IpcServer> ipc_;
    std::atomic<Ipc::IpcServer*> counted_{nullptr};  // ipc_, once it stands: its first request may come before that
    std::atomic<size_t> asking_{0};                  // requests under way that the host itself answers
};

}  // namespace Vexo::Host
