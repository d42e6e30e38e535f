// CollaborationServer: the collaboration framework of this device: one soft-bus session to each peer that it works
// with, over which starts, their answers and data travel (collaboration_message.h). The host makes it once 4700 is
// registered, and registers it as ability 70635. Any thread; StartCollaboration blocks, at most for
// the limit given to Start. Callbacks of the soft bus arrive on session strands.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "platform/base/mutex.h"
#include "platform/base/result.h"
#include "platform/collaboration/collaboration_ability.h"
#include "platform/collaboration/collaboration_message.h"
#include "platform/collaboration/data_channel.h"
#include "platform/dfx/log_limit.h"
#include "platform/ipc/iremote_object.h"
#include "platform/softbus/peer_policy.h"
#include "platform/tasks/timers.h"

namespace Vexo::CollaborationFwk {

inline constexpr const char* COLLABORATION_PACKAGE = "vexo.distnet";
inline constexpr const char* COLLABORATION_SESSION = "vexo.distnet.collaboration";

inline constexpr std::chrono::milliseconds COLLABORATION_START_LIMIT{5'000};
// Where a device may have to be sought first, over Bluetooth. A person is answered within 10 s.
inline constexpr std::chrono::milliseconds COLLABORATION_SEEKING_START_LIMIT{9'800};
// A start that uses a session opened before waits this long for the answer, then opens another: the network that the
// first one runs over may be gone.
inline constexpr std::chrono::milliseconds COLLABORATION_KEPT_SESSION_LIMIT{1'500};
// Of a session, after its last use; the side that opened it closes it.
inline constexpr std::chrono::seconds COLLABORATION_EXPIRY{30};

class CollaborationServer : public ICollaborationService, public IPCObjectStub {
public:
    // Serves peers from now on. One at a time in a process. startLimit: the longest that StartCollaboration blocks.
    // policy: decides which devices may wake a service here, and hears whose owners refused this device; outlives the
    // server; null: every device may. The error says what the soft bus refused.
    [[nodiscard]] static Result<sptr<CollaborationServer>> Start(
        std::chrono::milliseconds startLimit = COLLABORATION_START_LIMIT,
        Tasks::Timers& timers = Tasks::Timers::System(), SoftBus::PeerPolicy* policy = nullptr);
    // Ends every collaboration; starts that wait fail. Idempotent.
    void Stop();

    StartResult StartCollaboration(int32_t systemAbilityId, const sptr<TargetInfo>& target) override;
    int32_t StopCollaboration(int32_t sessionId) override;
    int32_t GetCollaborationStartInfos(int32_t systemAbilityId, std::vector<sptr<StartInfo>>& infos) override;
    int32_t RegisterCollaborationDataCallback(int32_t sessionId, const sptr<DataCallback>& callback) override;
    int32_t UnRegisterCollaborationDataCallback(int32_t sessionId) override;
    int32_t SendCollaborationData(int32_t sessionId, const void* data, uint32_t size) override;

    // From the soft bus, through the listener's plain functions.
    void OnOpened(int32_t sessionId, int32_t result);
    void OnClosed(int32_t sessionId);
    void OnBytes(int32_t sessionId, const void* data, uint32_t size);

private:
    template <typename T, typename... Args>
    friend sptr<T> Vexo::MakeSptr(Args&&... args);

    enum class Stage { OPENING, OPEN, ENDED };
    // One session to or from a peer. Its members are guarded by mutex_, but for id, networkId and data, which are
    // constant.
    struct Session {
        int32_t id;
        std::string networkId;
        bool inbound;
        Stage stage = Stage::OPENING;
        int32_t failure = COLLABORATION_OK;  // once ended: what those hear who waited for it to open
        std::set<int32_t> abilities = {};    // whose collaborations run over it
        SteadyTime lastUse = {};
        Tasks::Timer expiry{};  // of an open outbound session
        bool readySent = false;
        const std::shared_ptr<DataChannel> data = std::make_shared<DataChannel>(id);
    };
    using SessionPtr = std::shared_ptr<Session>;
    // A start that waits for its answer; lives on the stack of Ask, guarded by mutex_.
    struct Pending {
        int32_t sessionId;
        bool answered = false;
        int32_t code = COLLABORATION_OK;
    };

    CollaborationServer(std::chrono::milliseconds startLimit, Tasks::Timers& timers, SoftBus::PeerPolicy* policy);

    // Waits for the open session to the peer: the known one (reused, if it was open already) or a new one. A
    // CollaborationResult.
    int32_t EnsureSession(const std::string& networkId, SteadyTime deadline, SessionPtr& session, bool& reused);
    int32_t BeginSession(const std::string& networkId, SessionPtr& session) REQUIRES(mutex_);
    static int Send(int32_t sessionId, const Parcel& parcel);
    // The open session of that id, used now; null when there is none.
    SessionPtr Use(int32_t sessionId) REQUIRES(mutex_);
    // Sends the start and waits for its answer. COLLABORATION_NO_SUCH_SESSION: the session ended first.
    int32_t Ask(const SessionPtr& session, const TargetInfo& target, int32_t systemAbilityId, SteadyTime deadline);
    void HandleAnswer(int32_t sessionId, const AnswerMessage& answer);

    void End(const SessionPtr& ended, int32_t failure) REQUIRES(mutex_);
    void Close(const SessionPtr& session) REQUIRES(mutex_);
    void ArmExpiry(const SessionPtr& session, std::chrono::milliseconds delay) REQUIRES(mutex_);
    void Expire(int32_t sessionId);

    void HandleStart(int32_t sessionId, const StartMessage& start);
    int32_t Wake(int32_t sessionId, int32_t systemAbilityId);
    // The policy's answer for that device: COLLABORATION_OK, or the code that refuses it, which is logged.
    int32_t Admit(const std::string& networkId);
    void Answer(int32_t sessionId, uint32_t request, int32_t code);

    // Returns why the session must end; null: it goes on.
    const char* HandleData(int32_t sessionId, std::string bytes);
    void HandleReady(int32_t sessionId);

    const std::chrono::milliseconds startLimit_;
    Tasks::Timers& timers_;                          // sessions expire by them; what blocks goes by the system's clock
    SoftBus::PeerPolicy* const policy_;              // may be null; called without mutex_
    QuviewDFX::LogLimit<std::string> refusalLines_;  // by network id
    Mutex mutex_;
    CondVar changed_;  // a session opened or ended, or an answer came
    bool stopped_ GUARDED_BY(mutex_) = false;
    uint32_t lastRequest_ GUARDED_BY(mutex_) = 0;
    std::map<int32_t, SessionPtr> sessions_ GUARDED_BY(mutex_);      // not ended, by id, both directions
    std::map<std::string, SessionPtr> outbound_ GUARDED_BY(mutex_);  // those that this side opened, by network id
    std::map<uint32_t, Pending*> pending_ GUARDED_BY(mutex_);        // by request
};

}  // namespace Vexo::CollaborationFwk
