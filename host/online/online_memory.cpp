#include "host/online/online_memory.h"

#include <utility>

#include "host/online/online.h"
#include "platform/dfx/log.h"

namespace Vexo::Host {
namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "Online"};

}  // namespace

OnlineMemory::OnlineMemory(const std::filesystem::path& stateDir, const Clock& clock)
    : clock_(clock), file_(stateDir / ONLINE_FILE), record_(file_.Load())
{
}

std::chrono::sys_seconds OnlineMemory::Now() const
{
    return std::chrono::floor<std::chrono::seconds>(clock_.WallNow());
}

void OnlineMemory::SetFacts(DeviceFacts facts)
{
    facts.at = Now();
    const MutexLock lock(mutex_);
    if (facts.permission == SharingPermission::ALLOWED) {
        refusedBy_.erase(facts.networkId);
    }
    facts_[facts.networkId] = std::move(facts);
}

std::vector<DeviceFacts> OnlineMemory::AllFacts() const
{
    const MutexLock lock(mutex_);
    std::vector<DeviceFacts> all;
    for (const auto& [networkId, facts] : facts_) {
        all.push_back(facts);
    }
    return all;
}

void OnlineMemory::OnRefusedBy(const std::string& networkId, SoftBus::PeerRefusal why)
{
    const MutexLock lock(mutex_);
    refusals_[networkId] = why;
    refusedBy_.insert(networkId);
}

SoftBus::PeerRefusal OnlineMemory::TakeRefusal(const std::string& networkId)
{
    const MutexLock lock(mutex_);
    const auto found = refusals_.find(networkId);
    const SoftBus::PeerRefusal why = found != refusals_.end() ? found->second : SoftBus::PeerRefusal::NONE;
    refusals_.erase(networkId);
    return why;
}

bool OnlineMemory::MayTryByItself(const std::string& networkId) const
{
    const MutexLock lock(mutex_);
    const auto facts = facts_.find(networkId);
    return !refusedBy_.contains(networkId) &&
           (facts == facts_.end() || facts->second.permission == SharingPermission::ALLOWED);
}

Experience OnlineMemory::CurrentExperience() const
{
    const MutexLock lock(mutex_);
    return {record_.preferred, record_.successes, facts_, Now()};
}

void OnlineMemory::OnSuccess(const std::string& networkId)
{
    {
        const MutexLock lock(mutex_);
        refusedBy_.erase(networkId);
    }
    const auto stored = Change([&](OnlineRecord& record) { record.successes[networkId] = Now(); });
    if (!stored) {
        QuviewDFX::LogWarn(LABEL, "cannot store which device was used last: %{public}s", stored.error().message);
    }
}

OnlineRecord OnlineMemory::Record() const
{
    const MutexLock lock(mutex_);
    return record_;
}

Result<void> OnlineMemory::Change(const std::function<void(OnlineRecord&)>& change)
{
    const MutexLock fileLock(fileMutex_);
    OnlineRecord record = Record();
    change(record);
    Result<void> stored = file_.Save(record);
    if (stored) {
        const MutexLock lock(mutex_);
        record_ = std::move(record);
    }
    return stored;
}

Result<void> OnlineMemory::SetAuto(bool isOn)
{
    return Change([isOn](OnlineRecord& record) { record.isAutoOn = isOn; });
}

Result<void> OnlineMemory::SetPreferred(std::vector<std::string> networkIds)
{
    return Change([&](OnlineRecord& record) { record.preferred = std::move(networkIds); });
}

void OnlineMemory::Forget()
{
    {
        const MutexLock lock(mutex_);
        facts_.clear();
        refusals_.clear();
        refusedBy_.clear();
    }
    const auto stored = Change([](OnlineRecord& record) { record = {record.isAutoOn, {}, {}}; });
    if (!stored) {
        QuviewDFX::LogError(LABEL, "cannot remove the devices of the left account: %{public}s", stored.error().message);
    }
}

}  // namespace Vexo::Host
