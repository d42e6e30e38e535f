#include "host/hotspot_state.h"

#include <chrono>

#include "platform/ability/ability_ids.h"
#include "platform/base/mutex.h"
#include "platform/tasks/elastic_pool.h"
#include "platform/wifi/wifi_hotspot.h"

namespace Vexo::Host {
namespace {

constexpr std::chrono::milliseconds ANSWER_LIMIT{200};

}  // namespace

// The data that HotspotState shares with the task that queries the radio, because the task may outlive the
// HotspotState.
struct HotspotState::Query {
    Mutex mutex;
    CondVar answered;
    bool asking GUARDED_BY(mutex) = false;
    std::optional<bool> active GUARDED_BY(mutex);

    void Answer(std::optional<bool> said) EXCLUDES(mutex)
    {
        MutexLock lock(mutex);
        active = said;
        asking = false;
        answered.NotifyAll();
    }
};

std::shared_ptr<HotspotState::Query> HotspotState::MakeQuery()
{
    return std::make_shared<Query>();
}

HotspotStatus HotspotState::Ask()
{
    const auto hotspot = Wifi::WifiHotspot::GetInstance(WIFI_HOTSPOT_SYS_ABILITY_ID);
    if (!hotspot) {
        return {};
    }
    Query& query = *query_;
    bool first = false;
    {
        MutexLock lock(query.mutex);
        first = !query.asking;
        query.asking = true;
    }
    const bool runs = !first || Tasks::ElasticPool::Shared().Post([query = query_, hotspot] {
        bool active = false;
        const bool known = hotspot->IsHotspotActive(active) == Wifi::WIFI_OK;
        query->Answer(known ? std::optional<bool>(active) : std::nullopt);
    });
    if (!runs) {
        query.Answer(std::nullopt);
    }
    MutexLock lock(query.mutex);
    const bool answered =
        query.answered.WaitFor(query.mutex, ANSWER_LIMIT, [&]() REQUIRES(query.mutex) { return !query.asking; });
    return {true, answered ? query.active : std::nullopt};
}

}  // namespace Vexo::Host
