// OnlineMemory: stores what this device knows about the other devices: their facts (DeviceFacts) and refusals since the
// daemon's start, and the content of online.json (online_file.h). Any thread may use it. OnSuccess, SetAuto,
// SetPreferred and Forget block on the disk; the other functions do not block.
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
    // Returns and clears the latest refusal by the given device since the last call of TakeRefusal. Returns NONE if
    // there was no refusal.
    SoftBus::PeerRefusal TakeRefusal(const std::string& networkId) EXCLUDES(mutex_);
    // Returns true if automatic mode may ask the device for its network although no person requests it. Returns false
    // if its latest facts do not say ALLOWED, or if it has refused and neither said ALLOWED nor helped since then.
    bool MayTryByItself(const std::string& networkId) const EXCLUDES(mutex_);

    Experience CurrentExperience() const EXCLUDES(mutex_);
    void OnSuccess(const std::string& networkId) EXCLUDES(mutex_);

    OnlineRecord Record() const EXCLUDES(mutex_);
    // If the file cannot be written, SetAuto and SetPreferred fail and leave the data in memory unchanged.
    [[nodiscard]] Result<void> SetAuto(bool isOn) EXCLUDES(mutex_);
    [[nodiscard]] Result<void> SetPreferred(std::vector<std::string> networkIds) EXCLUDES(mutex_);
    // Deletes everything except the setting of automatic mode (on or off).
    void Forget() EXCLUDES(mutex_);

private:
    [[nodiscard]] Result<void> Change(const std::function<void(OnlineRecord&)>& change) EXCLUDES(mutex_, fileMutex_);
    std::chrono::sys_seconds Now() const;

    const Clock& clock_;
    Mutex fileMutex_;  // locked before mutex_, and while the file is written
    OnlineFile file_ GUARDED_BY(fileMutex_);
    mutable Mutex mutex_;
    OnlineRecord record_ GUARDED_BY(mutex_);
    std::map<std::string, DeviceFacts> facts_ GUARDED_BY(mutex_);
    std::map<std::string, SoftBus::PeerRefusal> refusals_ GUARDED_BY(mutex_);
    std::set<std::string> refusedBy_ GUARDED_BY(mutex_);  // devices that refused this device since they last allowed it
};

}  // namespace Vexo::Host
