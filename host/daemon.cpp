#include "host/daemon.h"

#include "host/descriptors.h"
#include "host/distnet_host.h"
#include "host/memory.h"
#include "host/service_manager.h"
#include "platform/access/policy.h"
#include "platform/base/clock.h"
#include "platform/base/files.h"
#include "platform/base/host_port.h"
#include "platform/base/utf8.h"
#include "platform/base/version.h"
#include "platform/config_policy/config_policy.h"
#include "platform/dfx/journal.h"
#include "platform/dfx/log.h"
#include "platform/dfx/sinks.h"
#include "platform/ipc/ipc_skeleton.h"
#include "platform/trust/identity.h"

namespace Vexo::Host {
namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "Host"};
constexpr uint32_t LOG_LINES_PER_SECOND = 200;  // of each log call
constexpr const char* IDENTITY_FOLDER = "identity";
constexpr mode_t SOCKET_FOLDER = 0755;  // accessible to all users; ipc.socket_mode decides who may connect

std::string Quoted(const std::string& text)
{
    return "\"" + EscapeHidden(text) + "\"";
}

// Calls IdleMemory::MarkActive when the service or the collaboration framework is registered or removed.
class ActivityWatch : public SystemAbilityStatusChangeStub {
public:
    explicit ActivityWatch(std::shared_ptr<IdleMemory> memory) : memory_(std::move(memory)) {}
    void OnAddSystemAbility(int32_t, const std::string&) override { memory_->MarkActive(); }
    void OnRemoveSystemAbility(int32_t, const std::string&) override { memory_->MarkActive(); }

private:
    const std::shared_ptr<IdleMemory> memory_;
};

}  // namespace

Daemon::Daemon(const Configuration& configuration)
    : configuration_(configuration),
      library_(FindServiceLibrary(configuration.serviceLibrary)),
      traces_(std::make_shared<QuviewDFX::TraceRecorder>("distnetd " + configuration.deviceName))
{
}

Result<std::unique_ptr<Daemon>> Daemon::Start(const Configuration& configuration, const Say& say)
{
    const PlatformChoice choice = ChoosePlatform(configuration);
    Configuration chosen = configuration;
    chosen.platform = choice.platform;
    std::unique_ptr<Daemon> daemon(new Daemon(chosen));
    say(std::string("distnetd ") + DistNetVersion() + ": " + choice.platform + " device " +
        Quoted(configuration.deviceName) + ", state in " + configuration.stateDir.string());
    say("platform " + choice.platform + ": " + choice.reason);
    Result<void> done = daemon->PrepareFolders();
    if (done) {
        done = daemon->PrepareRecords(say);
    }
    if (done) {
        daemon->InstallAccess(say);
        daemon->InstallAbilities();
        done = daemon->StartDevice(choice, say);
    }
    if (done) {
        done = daemon->StartLink(say);
    }
    if (done) {
        daemon->PublishHost();
        done = daemon->Listen();
    }
    daemon->memory_->MarkActive();
    if (!done) {
        daemon->Drain();
        return Failure(std::move(done).error());
    }
    const std::string addresses = daemon->Addresses();
    say(addresses);
    NotifyServiceManager(ServiceState::READY, chosen.platform + " device, " + addresses);
    daemon->link_->Watch();
    return daemon;
}

Result<void> Daemon::PrepareFolders()
{
    Result<StateFolder> folder = StateFolder::Acquire(configuration_.stateDir);
    if (!folder) {
        return Failure(std::move(folder).error());
    }
    folder_ = std::make_unique<StateFolder>(std::move(folder.value()));
    for (const std::filesystem::path& needed : {configuration_.announceDir, configuration_.eventsFile.parent_path()}) {
        if (Result<void> made = MakeFolder(needed, PRIVATE_FOLDER); !made) {
            return made;
        }
    }
    return MakeFolder(configuration_.ipcSocket.parent_path(), SOCKET_FOLDER);
}

bool Daemon::UseJournal(const Say& say)
{
    if (!QuviewDFX::IsStderrTheJournal()) {
        return false;
    }
    auto log = QuviewDFX::MakeJournalLogSink();
    auto events = QuviewDFX::MakeJournalSysEventSink();
    if (!log || !events) {
        say(log ? events.error().message : log.error().message);
        return false;
    }
    QuviewDFX::SetLogSink(log.value());
    QuviewDFX::SetSysEventSink(QuviewDFX::MakeTeeSysEventSink({events_, events.value()}));
    return true;
}

Result<void> Daemon::PrepareRecords(const Say& say)
{
    QuviewDFX::SetLogLevel(configuration_.logLevel);
    QuviewDFX::SetLogLineLimit(LOG_LINES_PER_SECOND);
    auto events = QuviewDFX::EventFile::Open(
        {configuration_.eventsFile, configuration_.eventsMaxBytes, configuration_.eventsFiles});
    if (!events) {
        return Failure(std::move(events).error());
    }
    events_ = std::move(events.value());
    if (!UseJournal(say)) {
        QuviewDFX::SetLogSink(QuviewDFX::MakeStderrLogSink());
        QuviewDFX::SetSysEventSink(events_);
    }
    // A damaged enrolment does not prevent the daemon's start. AccountLink says how to repair the enrolment.
    Result<Trust::Identity> identity = Trust::LoadOrCreateUnenrolled(configuration_.stateDir / IDENTITY_FOLDER);
    if (!identity) {
        return Failure(std::move(identity).error());
    }
    networkId_ = identity.value().networkId;
    return {};
}

void Daemon::InstallAccess(const Say& say)
{
    using namespace Security;
    AccessPolicy policy = AccessPolicy::ShippedDefault();
    if (!configuration_.accessPolicy.empty()) {
        Result<AccessPolicy> loaded = AccessPolicy::Load(configuration_.accessPolicy);
        if (loaded) {
            policy = std::move(loaded.value());
        } else {
            policy = AccessPolicy::RootOnly();
            say("access: only root has access, because the policy cannot be used: " + loaded.error().message);
        }
    }
    InstallAccessPolicy(std::move(policy));
    IPCSkeleton::SetSelfIdentity(IdentifySelf());
}

void Daemon::InstallAbilities()
{
    SetConfigPolicyRoots(configuration_.policyRoots);
    abilities_ = MakeSptr<SystemAbilityManager>();
    clients_ = std::make_unique<ServiceClients>(abilities_);
    abilities_->AddOnDemandAbility(COMM_DISTRIBUTED_NET_ABILITY_ID, [this] { return library_.Open(); });
    for (const int32_t id : {COMM_DISTRIBUTED_NET_ABILITY_ID, COLL_FWK_SA_ID}) {
        abilities_->SubscribeSystemAbility(id, MakeSptr<ActivityWatch>(memory_));
    }
    SystemAbilityManagerClient::GetInstance().SetSystemAbilityManager(abilities_);
}

Result<void> Daemon::StartDevice(const PlatformChoice& choice, const Say& say)
{
    auto device = Device::Start(choice, configuration_, networkId_);
    if (!device) {
        return Failure(std::move(device).error());
    }
    device_ = std::move(device.value());
    accountRights_ = AccountRights::Make(choice.bus);
    for (const std::string& line : device_->Lines()) {
        say(line);
    }
    return {};
}

void Daemon::StartNetworkUse()
{
    NetworkUseOptions options;
    options.configuration = configuration_;
    options.device = device_.get();
    options.link = [this] {
        const AccountLink* const link = usedLink_.load();
        return link != nullptr ? link->Facts() : LinkFacts{};
    };
    options.askService = [this](const std::string& networkId) { return clients_->StartDistributedNetwork(networkId); };
    network_ = NetworkUse::Start(std::move(options));
}

AccountLinkOptions Daemon::LinkOptions(const Say& say)
{
    AccountLinkOptions options;
    options.identityFolder = configuration_.stateDir / IDENTITY_FOLDER;
    options.networkId = networkId_;
    options.softBus.deviceName = configuration_.deviceName;
    options.softBus.deviceTypeId = static_cast<uint16_t>(configuration_.deviceType);
    options.softBus.listenAddress = ToText(HostPort{configuration_.softbusListen, configuration_.softbusPort});
    options.softBus.knownDevicesFile = configuration_.stateDir / SoftBus::KNOWN_DEVICES_FILE;
    options.softBus.peerAddresses = configuration_.softbusPeers;
    options.softBus.announceFolder = configuration_.announceDir;
    options.softBus.channels = device_->AnnouncementChannels();
    options.softBus.moreTransports = device_->Transports();
    options.softBus.onlineChanged = [memory = memory_] { memory->MarkActive(); };
    options.softBus.policy = network_.get();
    options.softBus.openSessions = {CollaborationFwk::COLLABORATION_SESSION, PEER_SESSION};
    options.abilities = abilities_;
    options.say = say;
    options.linkStarted = [this] { network_->OnLinkStarted(); };
    options.linkStopping = [this] { network_->OnLinkStopping(); };
    options.enrolled = [this, say] { SayEnrolled(say); };
    options.left = [this, say] {
        network_->OnAccountLeft();
        const std::string addresses = Addresses();
        say("this device has left its account; " + addresses);
        NotifyServiceManager(ServiceState::RUNNING, configuration_.platform + " device, " + addresses);
    };
    options.stateUsed = [this](const Trust::AccountState& state, const std::string& networkId) {
        removals_->Apply(state, networkId);
        network_->OnStateUsed(state);
    };
    return options;
}

Result<void> Daemon::StartLink(const Say& say)
{
    StartNetworkUse();
    removals_ =
        std::make_unique<RemovalEffects>(configuration_.stateDir, [this] { return device_->ChangeHotspotKey(); });
    AccountLinkOptions options = LinkOptions(say);
    const SoftBus::SoftBusOptions softBus = options.softBus;
    link_ = AccountLink::Make(std::move(options));
    usedLink_.store(link_.get());
    account_ = AccountOperations::Make({configuration_.stateDir / IDENTITY_FOLDER, link_, softBus});
    if (Result<void> started = link_->Start(); !started) {
        return started;
    }
    if (const LinkFacts link = link_->Facts(); link.softBus) {
        say(AbilityLine(SOFTBUS_SERVER_SA_ID, "TLS 1.3 over TCP"));
        say(AbilityLine(DISTRIBUTED_HARDWARE_DEVICEMANAGER_SA_ID, "account " + Quoted(link.accountName)));
        say(AbilityLine(COLL_FWK_SA_ID, "wakes ability " + std::to_string(COMM_DISTRIBUTED_NET_ABILITY_ID)));
    }
    return {};
}

std::string Daemon::Addresses() const
{
    const sptr<SoftBus::SoftBusServer> softBus = link_->Facts().softBus;
    return "listening on " + configuration_.ipcSocket.string() +
           (softBus ? "; link on " + softBus->ListenAddress() : "; no link");
}

void Daemon::SayEnrolled(const Say& say) const
{
    const std::string addresses = Addresses();
    say("enrolled in account " + Quoted(link_->Facts().accountName) + "; " + addresses);
    NotifyServiceManager(ServiceState::RUNNING, configuration_.platform + " device, " + addresses);
}

void Daemon::PublishHost()
{
    HostFacts facts;
    facts.configuration = configuration_;
    facts.abilities = abilities_;
    facts.link = [this] { return link_->Facts(); };
    facts.ipcCounts = [this] {
        const Ipc::IpcServer* server = counted_.load();
        return server != nullptr ? server->Counts() : Ipc::IpcServerCounts{};
    };
    facts.deviceChecks = [this] {
        std::vector<QuviewDFX::HealthCheck> checks = device_->Checks();
        checks.push_back(network_->CheckUplink());
        if (auto check = removals_->Check()) {
            checks.push_back(std::move(*check));
        }
        return checks;
    };
    facts.radio = [this] { return device_->Radio(); };
    facts.events = events_;
    facts.traces = traces_;
    facts.identityFolder = configuration_.stateDir / IDENTITY_FOLDER;
    facts.account = account_;
    facts.accountRights = accountRights_;
    facts.online = network_->GetOnline();
    facts.sharing = network_->GetSharing();
    abilities_->AddSystemAbility(DISTNET_HOST_ABILITY_ID, MakeSptr<DistNetHost>(std::move(facts))->AsObject());
}

Result<void> Daemon::Listen()
{
    Ipc::IpcServerOptions options;
    options.socketPath = configuration_.ipcSocket;
    options.socketMode = configuration_.ipcSocketMode;
    const size_t descriptors = RaiseDescriptorLimit();
    options.shares = SharesWithin(descriptors);
    options.shares.userConnections = configuration_.ipcUserConnections;
    options.shares.userRequests = configuration_.ipcUserRequests;
    if (options.shares.connections < MAX_LOCAL_CLIENTS) {
        QuviewDFX::LogWarn(LABEL,
                           "at most %{public}lu local clients, because only %{public}lu descriptors may be open; "
                           "raise the limit (LimitNOFILE= of the unit, or ulimit -n)",
                           uint64_t{options.shares.connections}, uint64_t{descriptors});
    }
    options.processGone = [this] { OnProcessGone(); };
    auto server = Ipc::IpcServer::Start(std::move(options), Security::IdentifyCaller,
                                        [this](const Ipc::IpcHeader& request, MessageParcel& data,
                                               MessageParcel& reply) { return Run(request, data, reply); });
    if (!server) {
        return Failure(std::move(server).error());
    }
    ipc_ = std::move(server.value());
    counted_ = ipc_.get();
    return {};
}

void Daemon::OnProcessGone()
{
    clients_->ReleaseForGoneProcess();
    account_->OnProcessGone(IPCSkeleton::GetCallingPid());
    network_->OnProcessGone(IPCSkeleton::GetCallingPid());
}

int32_t Daemon::Run(const Ipc::IpcHeader& request, MessageParcel& data, MessageParcel& reply)
{
    if (request.abilityId == COMM_DISTRIBUTED_NET_ABILITY_ID) {
        return clients_->Dispatch(request, data, reply);
    }
    if (request.abilityId != DISTNET_HOST_ABILITY_ID) {
        return abilities_->Dispatch(request, data, reply);
    }
    ++asking_;
    const int32_t status = abilities_->Dispatch(request, data, reply);
    --asking_;
    return status;
}

void Daemon::Drain()
{
    const SteadyTime deadline = Clock::System().Now() + DRAIN_LIMIT;
    NotifyServiceManager(ServiceState::STOPPING, "stopping; running requests may finish");
    if (ipc_) {
        ipc_->StopAccepting();
    }
    if (abilities_) {
        abilities_->StopLoading();
    }
    if (network_) {
        network_->Stop();
    }
    if (device_) {
        device_->Stop();
    }
    if (account_) {
        account_->Stop();
    }
    if (link_) {
        link_->Stop(deadline);
    }
    // Do not wait for workers that handle requests of ability 1164. These requests may block for seconds, and no data
    // is lost if they are interrupted.
    if (ipc_) {
        ipc_->AwaitWorkers(deadline, [this] { return asking_.load(); });
    }
    QuviewDFX::SetSysEventSink(nullptr);
}

}  // namespace Vexo::Host
