// OnlineMemory: what this device remembers of the others to get online through them: the facts and refusals of this
// run of the daemon, and what is kept in online.json. Any thread; OnSuccess, SetAuto, SetPreferred and Forget block on
// the disk, the rest does not.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "host/online/candidates.h"
#include "host/online/online_file.h"
#include "interfaces/online_answers.h"
#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"
#include "platform/softbus/peer_policy.h"

namespace Vexo::Host {

class OnlineMemory : public NoCopyable {
public:
    OnlineMemory(const std::filesystem::path& stateDir, const Clock& clock);

    void SetFacts(DeviceFacts facts) EXCLUDES(mutex_);
    std::vector<DeviceFacts> AllFacts() const EXCLUDES(mutex_);

    void OnRefusedBy(const std::string& networkId, SoftBus::PeerRefusal why) EXCLUDES(mutex_);
    // The device's latest refusal since the last call of this function; NONE without one.
    SoftBus::PeerRefusal TakeRefusal(const std::string& networkId) EXCLUDES(mutex_);
    // Whether automatic mode may ask the device for its network: it never asked an owner or was refused there before,
    // or the device has said since then that this one is allowed.
    bool MayTryByItself(const std::string& networkId) const EXCLUDES(mutex_);

    Experience CurrentExperience() const EXCLUDES(mutex_);
    void OnSuccess(const std::string& networkId) EXCLUDES(mutex_);

    OnlineRecord Record() const EXCLUDES(mutex_);
    // The record stays as it was when it could not be stored.
    [[nodiscard]] Result<void> SetAuto(bool isOn) EXCLUDES(mutex_);
    [[nodiscard]] Result<void> SetPreferred(std::vector<std::string> networkIds) EXCLUDES(mutex_);
    // All but whether automatic mode is on.
    void Forget() EXCLUDES(mutex_);

private:
    [[nodiscard]] Result<void> Change(const std::function<void(OnlineRecord&)>& change) EXCLUDES(mutex_, fileMutex_);
    std::chrono::sys_seconds Now() const;

    const Clock& clock_;
    Mutex fileMutex_;  // taken before mutex_, and held while the file is written
    OnlineFile file_ GUARDED_BY(fileMutex_);
    mutable Mutex mutex_;
    OnlineRecord record_ GUARDED_BY(mutex_);
    std::map<std::string, DeviceFacts> facts_ GUARDED_BY(mutex_);
    std::map<std::string, SoftBus::PeerRefusal> refusals_ GUARDED_BY(mutex_);
    std::set<std::string> refusedBy_ GUARDED_BY(mutex_);  // devices whose latest word about this one was a refusal
};

}  // namespace Vexo::Host
