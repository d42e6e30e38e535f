#include "host/distnet_host.h"

#include <unistd.h>

#include <filesystem>
#include <memory>

#include "host/health_checks.h"
#include "host/service_library.h"
#include "platform/ability/system_ability.h"
#include "platform/base/json.h"
#include "platform/base/utf8.h"
#include "platform/base/version.h"
#include "platform/collaboration/collaboration_ability.h"
#include "platform/dfx/event_text.h"
#include "platform/tasks/elastic_pool.h"

namespace Vexo::Host {
namespace {

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

void FillWifi(cJSON* wifi, const std::shared_ptr<Wifi::WifiDevice>& device, const Wifi::WifiLinkInfo& info,
              RadioState radio)
{
    cJSON_AddBoolToObject(wifi, "present", device != nullptr);
    AddText(wifi, "radio", NameOf(RADIO_STATE_NAMES, radio));
    AddText(wifi, "state", NameOf(WIFI_STATE_NAMES, info.state));
    cJSON_AddNumberToObject(wifi, "state_code", static_cast<int32_t>(info.state));
    AddNumber(wifi, "attempt", info.attempt);
    AddText(wifi, "ssid", EscapeBytes(info.ssid));
    AddText(wifi, "address", info.address);
    AddText(wifi, "reason", info.reason);
}

void FillAbilities(cJSON* abilities, const SystemAbilityManager& manager, const std::string& platform)
{
    for (const int32_t id : manager.ListSystemAbilities()) {
        cJSON* ability = cJSON_CreateObject();
        cJSON_AddNumberToObject(ability, "id", id);
        AddText(ability, "name", AbilityName(id));
        AddText(ability, "backend", BackendOf(id, platform));
        cJSON_AddItemToArray(abilities, ability);
    }
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

DistNetHost::DistNetHost(HostFacts facts) : facts_(std::move(facts)) {}

int32_t DistNetHost::GetStatus(std::string& json)
{
    using namespace std::chrono;
    const Json status = NewObject();
    AddText(status.get(), "version", DistNetVersion());
    cJSON_AddNumberToObject(status.get(), "pid", getpid());
    cJSON* device = cJSON_AddObjectToObject(status.get(), "device");
    AddText(device, "name", facts_.configuration.deviceName);
    AddText(device, "type", NameOf(DEVICE_TYPE_NAMES, facts_.configuration.deviceTypeId));
    AddText(device, "network_id", facts_.networkId);
    if (facts_.accountName.empty()) {
        cJSON_AddNullToObject(status.get(), "account");
    } else {
        AddText(status.get(), "account", facts_.accountName);
    }
    AddText(status.get(), "platform", facts_.configuration.platform);
    FillAbilities(cJSON_AddArrayToObject(status.get(), "abilities"), *facts_.abilities, facts_.configuration.platform);
    AddText(status.get(), "service", NameOf(SERVICE_LIFE_NAMES, LifeOfService(*facts_.abilities)));
    cJSON* link = cJSON_AddObjectToObject(status.get(), "link");
    if (facts_.softBus) {
        AddText(link, "listen", facts_.softBus->ListenAddress());
    } else {
        cJSON_AddNullToObject(link, "listen");
    }
    const auto wifi = Wifi::WifiDevice::GetInstance(WIFI_DEVICE_SYS_ABILITY_ID);
    FillWifi(cJSON_AddObjectToObject(status.get(), "wifi"), wifi, wifi ? wifi->GetLinkInfo() : Wifi::WifiLinkInfo{},
             wifi ? facts_.radio() : RadioState::ABSENT);
    const HotspotNow hotspot = hotspot_.Ask();
    cJSON* hotspotObject = cJSON_AddObjectToObject(status.get(), "hotspot");
    cJSON_AddBoolToObject(hotspotObject, "present", hotspot.present);
    cJSON_AddItemToObject(hotspotObject, "active",
                          hotspot.active ? cJSON_CreateBool(*hotspot.active ? 1 : 0) : cJSON_CreateNull());
    const auto uptime = duration_cast<milliseconds>(steady_clock::now() - started_);
    AddNumber(status.get(), "uptime_ms", static_cast<uint64_t>(uptime.count()));
    json = JsonText(status.get());
    return HOST_OK;
}

void DistNetHost::WaitForWifi(uint32_t attempt, int32_t state, std::chrono::milliseconds limit, Answer answer)
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
        const Json json = NewObject();
        FillWifi(json.get(), wifi, info, radio());
        answer(HOST_OK, JsonText(json.get()));
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

int32_t DistNetHost::GetCounts(std::string& json)
{
    const SoftBus::SoftBusCounts link = facts_.softBus ? facts_.softBus->Counts() : SoftBus::SoftBusCounts{};
    const Ipc::IpcServerCounts ipc = facts_.ipcCounts ? facts_.ipcCounts() : Ipc::IpcServerCounts{};
    std::vector<sptr<CollaborationFwk::StartInfo>> collaborations;
    CollaborationFwk::CollaborationAbility::GetInstance().GetCollaborationStartInfos(COMM_DISTRIBUTED_NET_ABILITY_ID,
                                                                                     collaborations);
    const size_t queued = Tasks::ElasticPool::Shared().QueuedCount();

    const Json counts = NewObject();
    AddNumber(counts.get(), "sessions", link.sessions);
    AddNumber(counts.get(), "pending_opens", link.pendingOpens);
    AddNumber(counts.get(), "session_servers", link.servers);
    AddNumber(counts.get(), "presence_links", link.presenceLinks);
    AddNumber(counts.get(), "collaborations", collaborations.size());
    AddNumber(counts.get(), "ipc_connections", ipc.connections);
    AddNumber(counts.get(), "ipc_threads", ipc.threads);
    AddNumber(counts.get(), "threads", EntriesOf("/proc/self/task"));
    // Less the one that the count itself holds open.
    const size_t descriptors = EntriesOf("/proc/self/fd");
    AddNumber(counts.get(), "descriptors", descriptors > 0 ? descriptors - 1 : 0);
    AddNumber(counts.get(), "queued_tasks", queued);
    AddNumber(counts.get(), "pending", link.pendingOpens + collaborations.size() + queued);
    json = JsonText(counts.get());
    return HOST_OK;
}

int32_t DistNetHost::GetDevices(std::string& json)
{
    const Json answer = NewObject();
    cJSON* devices = cJSON_AddArrayToObject(answer.get(), "devices");
    for (const SoftBus::Node& node : facts_.softBus ? facts_.softBus->Nodes() : std::vector<SoftBus::Node>{}) {
        cJSON* device = cJSON_CreateObject();
        AddText(device, "name", node.deviceName);
        AddText(device, "type", NameOf(DEVICE_TYPE_NAMES, node.deviceTypeId));
        AddText(device, "network_id", node.networkId);
        AddText(device, "device_id", node.deviceId);
        cJSON_AddBoolToObject(device, "online", node.online);
        AddText(device, "last_seen", QuviewDFX::Rfc3339Seconds(node.lastSeenMs / 1000));
        cJSON_AddItemToArray(devices, device);
    }
    json = JsonText(answer.get());
    return HOST_OK;
}

int32_t DistNetHost::GetChecks(std::string& json)
{
    HealthFacts facts;
    facts.configuration = facts_.configuration;
    facts.networkId = facts_.networkId;
    if (facts_.softBus) {
        facts.devices = facts_.softBus->Nodes();
    }
    facts.abilities = facts_.abilities->ListSystemAbilities().size();
    facts.service = LifeOfService(*facts_.abilities);
    facts.serviceLibrary = FindServiceLibrary(facts_.configuration.serviceLibrary);
    facts.device = facts_.deviceChecks ? facts_.deviceChecks() : std::vector<QuviewDFX::HealthCheck>();
    json = JsonText(QuviewDFX::HealthJson(CheckHealth(facts)).get());
    return HOST_OK;
}

}  // namespace Vexo::Host
