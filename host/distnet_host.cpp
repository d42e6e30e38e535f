#include "host/distnet_host.h"

#include <unistd.h>

#include <filesystem>
#include <memory>

#include "host/health_checks.h"
#include "host/service_library.h"
#include "host/wifi_status.h"
#include "platform/ability/system_ability.h"
#include "platform/base/utf8.h"
#include "platform/base/version.h"
#include "platform/collaboration/collaboration_ability.h"
#include "platform/tasks/elastic_pool.h"
#include "platform/trust/account_backup.h"

namespace Vexo::Host {
namespace {

// How long a scan waits until the reachable devices have reported their DeviceFacts.
constexpr std::chrono::milliseconds FACTS_LIMIT{1500};
// A certificate that expires within this time is reported in MembershipStatus::endsSoon.
constexpr std::chrono::hours REPORT_EXPIRY_WITHIN{24 * 365};

size_t EntriesOf(const char* folder)
{
    std::error_code error;
    size_t count = 0;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        ++count;
    }
    return count;
}

std::vector<AbilityStatus> AbilitiesOf(const SystemAbilityManager& manager, const std::string& platform)
{
    std::vector<AbilityStatus> abilities;
    for (const int32_t id : manager.ListSystemAbilities()) {
        abilities.push_back({id, AbilityName(id), BackendOf(id, platform)});
    }
    return abilities;
}

ServiceLife LifeOfService(SystemAbilityManager& manager)
{
    if (manager.GetSystemAbility(COMM_DISTRIBUTED_NET_ABILITY_ID)) {
        return ServiceLife::RUNNING;
    }
    return SystemAbility::FindRegistered(COMM_DISTRIBUTED_NET_ABILITY_ID) != nullptr ? ServiceLife::IDLE
                                                                                     : ServiceLife::NOT_LOADED;
}

}  // namespace

std::string BackendOf(int32_t systemAbilityId, const std::string& platform)
{
    switch (systemAbilityId) {
        case COMM_DISTRIBUTED_NET_ABILITY_ID:
            return "service";
        case DISTNET_HOST_ABILITY_ID:
            return "host";
        case SOFTBUS_SERVER_SA_ID:
        case DISTRIBUTED_HARDWARE_DEVICEMANAGER_SA_ID:
        case COLL_FWK_SA_ID:
            return "platform";
        default:
            return platform;
    }
}

DistNetHost::DistNetHost(HostFacts facts)
    : DistNetHostStub(facts.account ? std::make_unique<AccountRequests>(facts.account, facts.accountRights) : nullptr,
                      facts.online ? std::make_unique<NetworkRequests>(facts.online, facts.sharing) : nullptr),
      facts_(std::move(facts))
{
}

MembershipStatus DistNetHost::Membership(const LinkFacts& link) const
{
    using std::chrono::floor;
    using std::chrono::seconds;
    MembershipStatus membership;
    if (!link.softBus || !facts_.account) {
        return membership;
    }
    membership.removedAt = link.removedAt;
    membership.holdsKey = link.holdsAccountKey;
    if (link.state) {
        const MemberList list = facts_.account->Members();
        membership.members = static_cast<uint32_t>(list.members.size());
        for (const AccountMember& member : list.members) {
            membership.pending += member.pending ? 1 : 0;
            membership.holder = member.holdsKey ? member.name : membership.holder;
        }
    }
    if (link.holdsAccountKey) {
        membership.backup = Trust::LastBackup(facts_.identityFolder);
    }
    if (link.certificateEnd && *link.certificateEnd < Clock::System().WallNow() + REPORT_EXPIRY_WITHIN) {
        membership.endsSoon = floor<seconds>(*link.certificateEnd);
    }
    return membership;
}

int32_t DistNetHost::GetStatus(HostStatus& status)
{
    using namespace std::chrono;
    const Configuration& configuration = facts_.configuration;
    const LinkFacts link = facts_.link();
    status.version = DistNetVersion();
    status.pid = getpid();
    const std::string ownName = link.OwnName();
    status.device = {ownName.empty() ? configuration.deviceName : ownName, configuration.deviceType, link.networkId};
    if (!link.accountName.empty()) {
        status.account = link.accountName;
        status.membership = Membership(link);
    }
    status.platform = configuration.platform;
    status.abilities = AbilitiesOf(*facts_.abilities, configuration.platform);
    status.service = LifeOfService(*facts_.abilities);
    if (link.softBus) {
        status.link.listen = link.softBus->ListenAddress();
    }
    status.wifi = CurrentWifiStatus(facts_.radio);
    status.hotspot = hotspot_.Ask();
    status.uptime = duration_cast<milliseconds>(Clock::System().Now() - started_);
    return HOST_OK;
}

void DistNetHost::WaitForWifi(uint32_t attempt, WifiState state, std::chrono::milliseconds limit,
                              Answer<WifiStatus> answer)
{
    const auto wifi = Wifi::WifiDevice::GetInstance(WIFI_DEVICE_SYS_ABILITY_ID);
    if (wifi == nullptr) {
        answer(HOST_NO_WIFI, {});
        return;
    }
    Wifi::WifiLinkInfo known;
    known.attempt = attempt;
    known.state = static_cast<Wifi::WifiLinkState>(state);
    const auto answerNow = [wifi, known, radio = facts_.radio, answer = std::move(answer)](bool mustAnswer) {
        const Wifi::WifiLinkInfo info = wifi->GetLinkInfo();
        if (!mustAnswer && info.attempt == known.attempt && info.state == known.state) {
            return false;
        }
        answer(HOST_OK, WifiStatusOf(info, radio()));
        return true;
    };
    WaitsFor(wifi)->Add(
        {answerNow, [wifi, known](std::chrono::milliseconds left) { wifi->WaitForChange(known, left); }}, limit);
}

std::shared_ptr<ChangeWaits> DistNetHost::WaitsFor(const std::shared_ptr<Wifi::WifiDevice>& device)
{
    const MutexLock lock(mutex_);
    if (waitedFor_ != device.get() || !wifiWaits_) {
        waitedFor_ = device.get();
        wifiWaits_ = ChangeWaits::Make();
    }
    return wifiWaits_;
}

int32_t DistNetHost::GetCounts(HostCounts& counts)
{
    const sptr<SoftBus::SoftBusServer> softBus = facts_.link().softBus;
    const SoftBus::SoftBusCounts link = softBus ? softBus->Counts() : SoftBus::SoftBusCounts{};
    const Ipc::IpcServerCounts ipc = facts_.ipcCounts ? facts_.ipcCounts() : Ipc::IpcServerCounts{};
    std::vector<sptr<CollaborationFwk::StartInfo>> collaborations;
    CollaborationFwk::CollaborationAbility::GetInstance().GetCollaborationStartInfos(COMM_DISTRIBUTED_NET_ABILITY_ID,
                                                                                     collaborations);
    counts.sessions = link.sessions;
    counts.pendingOpens = link.pendingOpens;
    counts.sessionServers = link.servers;
    counts.collaborations = collaborations.size();
    counts.ipcConnections = ipc.connections;
    counts.ipcThreads = ipc.threads;
    counts.threads = EntriesOf("/proc/self/task");
    // EntriesOf itself opens one descriptor, which must not be counted.
    const size_t descriptors = EntriesOf("/proc/self/fd");
    counts.descriptors = descriptors > 0 ? descriptors - 1 : 0;
    counts.queuedTasks = Tasks::ElasticPool::Shared().QueuedCount();
    return HOST_OK;
}

int32_t DistNetHost::GetDevices(DeviceList& devices)
{
    devices.devices = facts_.link().Devices();
    return HOST_OK;
}

void DistNetHost::ScanDevices(Answer<DeviceList> answer)
{
    const sptr<SoftBus::SoftBusServer> softBus = facts_.link().softBus;
    const auto answerNow = [self = sptr<DistNetHost>(this), answer = std::move(answer)] {
        if (self->facts_.online) {
            self->facts_.online->RefreshFacts(FACTS_LIMIT);
        }
        DeviceList devices;
        const int32_t result = self->GetDevices(devices);
        answer(result, devices);
    };
    if (softBus) {
        // The thread of the soft bus must not block, but answerNow blocks for up to FACTS_LIMIT. So the pool runs it.
        softBus->Scan([answerNow] { Tasks::ElasticPool::Shared().Post(answerNow); });
    } else {
        answerNow();
    }
}

int32_t DistNetHost::GetChecks(CheckList& checks)
{
    HealthFacts facts;
    facts.configuration = facts_.configuration;
    const LinkFacts link = facts_.link();
    facts.networkId = link.networkId;
    if (link.softBus) {
        facts.devices = link.softBus->Nodes();
    }
    facts.membership = Membership(link);
    facts.abilities = facts_.abilities->ListSystemAbilities().size();
    facts.service = LifeOfService(*facts_.abilities);
    facts.serviceLibrary = FindServiceLibrary(facts_.configuration.serviceLibrary);
    facts.device = facts_.deviceChecks ? facts_.deviceChecks() : std::vector<QuviewDFX::HealthCheck>();
    checks.checks = CheckHealth(facts);
    return HOST_OK;
}

}  // namespace Vexo::Host
