// OnlineService: implements Online (online.h). A job is an attempt to get online, or the work of `distnetctl down`.
// Jobs run on a thread of the pool, at most one at a time. Between jobs, a LeaseKeeper is active while this device uses
// another device's network. If automatic mode is on, it may start a job. Any thread may call.
#pragma once

#include <atomic>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/change_waits.h"
#include "host/online/attempt.h"
#include "host/online/auto_mode.h"
#include "host/online/lease_keeper.h"
#include "host/online/online.h"
#include "host/online/online_memory.h"
#include "platform/base/mutex.h"

namespace Vexo::Host {

class OnlineService : public Online {
public:
    explicit OnlineService(OnlineOptions options);

    void Listen();

    OnlineAnswer Begin(pid_t owner, OnlineMode mode, const std::vector<std::string>& networkIds) override;
    void WaitForChange(pid_t owner, uint32_t revision, std::chrono::milliseconds limit,
                       IDistNetHost::Answer<OnlineAnswer> answer) override;
    void Cancel(pid_t owner, bool wasTimeout, IDistNetHost::Answer<OnlineAnswer> answer) override;
    void Down(IDistNetHost::Answer<DownAnswer> answer) override;
    OnlineStatus Status() override;
    OnlineChange SetAuto(bool isOn) override;
    OnlineChange SetPreferred(const std::vector<std::string>& networkIds) override;
    void RefreshFacts(std::chrono::milliseconds limit) override;
    void OnRefusedBy(const std::string& networkId, SoftBus::PeerRefusal why) override;
    void OnProcessGone(pid_t process) override;
    void Forget() override;
    void Stop() override;

private:
    enum class Job : uint8_t { NONE, ATTEMPT, DOWN };
    // The device whose network this device is on.
    struct Connection {
        DeviceInUse device;
        std::vector<OnlineStep> steps;  // the steps that got this device online
        std::chrono::sys_seconds since;
        uint32_t number = 0;  // distinguishes the callback of this keeper from an earlier keeper's
        std::shared_ptr<LeaseKeeper> keeper{};
    };
    // Functions that send answers. Call them after mutex_ is released.
    using Answers = std::vector<std::function<void()>>;

    std::shared_ptr<OnlineService> Self() { return std::static_pointer_cast<OnlineService>(shared_from_this()); }
    std::chrono::sys_seconds Now() const;
    void Changed() REQUIRES(mutex_);
    void ResetAnswer(OnlinePhase phase) REQUIRES(mutex_);
    OnlineAnswer Latest() const REQUIRES(mutex_);
    OnlineAnswer AnswerOf(pid_t owner) const REQUIRES(mutex_);

    OnlineFault WhyBusy() const REQUIRES(mutex_);
    void StartAttempt(AttemptTask task, pid_t owner, bool isAutomatic) REQUIRES(mutex_);
    void RunAttempt(const AttemptTask& task, Cancellation& cancellation) EXCLUDES(mutex_);
    void FinishAttempt(AttemptEnd end) EXCLUDES(mutex_);
    void OnAttemptEnded(bool isOnline, bool isCancelled) REQUIRES(mutex_);
    void SetOutcome(AttemptEnd& end) REQUIRES(mutex_);
    void BeginCancelling(OnlineFault why) REQUIRES(mutex_);
    void Connect(const DeviceInUse& device, bool isNew) REQUIRES(mutex_);
    void OnLost(uint32_t number) EXCLUDES(mutex_);

    // isByPerson: true if a person requested `distnetctl down`. Automatic mode is then suspended.
    void BringDown(std::optional<IDistNetHost::Answer<DownAnswer>> answer, bool isByPerson) EXCLUDES(mutex_);
    void StartDown() REQUIRES(mutex_);
    void RunDown() EXCLUDES(mutex_);
    DownAnswer LeaveNetwork() EXCLUDES(mutex_);

    void Review() EXCLUDES(mutex_);
    void ReviewSoon() EXCLUDES(mutex_);

    const OnlineOptions options_;
    const std::shared_ptr<OnlineMemory> memory_;
    const std::shared_ptr<ChangeWaits> waits_ = ChangeWaits::Make();
    std::atomic<bool> isAutomatic_{false};  // automatic mode owns the running or latest attempt
    Cancellation stop_;                     // cancelled when the daemon ends; has its own synchronisation

    mutable Mutex mutex_;
    mutable CondVar changed_;
    Job job_ GUARDED_BY(mutex_) = Job::NONE;
    pid_t owner_ GUARDED_BY(mutex_) = 0;
    OnlineAnswer answer_ GUARDED_BY(mutex_);
    SteadyTime stepBegan_ GUARDED_BY(mutex_);  // when the latest step began
    std::shared_ptr<Cancellation> cancellation_ GUARDED_BY(mutex_);
    std::optional<OnlineFault> whyCancelled_ GUARDED_BY(mutex_);
    bool isDecided_ GUARDED_BY(mutex_) = false;  // the outcome is fixed, so the attempt can no longer be cancelled
    std::optional<DeviceInUse> asked_ GUARDED_BY(mutex_);  // the latest device that the running attempt has asked
    std::vector<std::pair<pid_t, IDistNetHost::Answer<OnlineAnswer>>> cancelAnswers_ GUARDED_BY(mutex_);
    bool isDownWanted_ GUARDED_BY(mutex_) = false;
    // what an attempt undid after `distnetctl down` cancelled it
    std::optional<UndoneChanges> undoneForDown_ GUARDED_BY(mutex_);
    std::vector<IDistNetHost::Answer<DownAnswer>> downAnswers_ GUARDED_BY(mutex_);
    std::optional<Connection> connection_ GUARDED_BY(mutex_);
    uint32_t connections_ GUARDED_BY(mutex_) = 0;
    AutoMode auto_ GUARDED_BY(mutex_);
    bool isReviewPosted_ GUARDED_BY(mutex_) = false;
    Tasks::Timer reviewTimer_ GUARDED_BY(mutex_);
    Tasks::Strand reviews_;  // has its own synchronisation
};

}  // namespace Vexo::Host
