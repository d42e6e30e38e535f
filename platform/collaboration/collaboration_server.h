// CollaborationServer: the collaboration framework of this device. It keeps one soft-bus session to each peer, which
// carries starts, their answers and data (collaboration_message.h). The host creates it when ability 4700 is
// registered, and registers it as ability 70635. Any thread; StartCollaboration blocks, at most for the limit given to
// Start. Callbacks of the soft bus arrive on session strands.
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
// The limit of StartCollaboration if the peer may have to be found over Bluetooth first. A person must get an answer
// within 10 s.
inline constexpr std::chrono::milliseconds COLLABORATION_SEEKING_START_LIMIT{9'800};
// A start over an existing session waits this long for the answer, and then tries a new session: the network of the
// existing one may be gone.
inline constexpr std::chrono::milliseconds COLLABORATION_KEPT_SESSION_LIMIT{1'500};
// A session is closed this long after its last use, by the side that opened it.
inline constexpr std::chrono::seconds COLLABORATION_EXPIRY{30};

class CollaborationServer : public ICollaborationService, public IPCObjectStub {
public:
    // Creates the server, which serves peers from now on. Only one may run in a process. Errors: ALREADY_EXISTS if one
    // runs already, REFUSED if the soft bus refuses the session server.
    // startLimit: the longest that StartCollaboration blocks. policy: decides which devices may start a service here,
    // and is notified when a peer refuses this device; must outlive the server; null: every device may.
    [[nodiscard]] static Result<sptr<CollaborationServer>> Start(
        std::chrono::milliseconds startLimit = COLLABORATION_START_LIMIT,
        Tasks::Timers& timers = Tasks::Timers::System(), SoftBus::PeerPolicy* policy = nullptr);
    // Ends all collaborations; waiting calls of StartCollaboration fail. Idempotent.
    void Stop();

    StartResult StartCollaboration(int32_t systemAbilityId, const sptr<TargetInfo>& target) override;
    int32_t StopCollaboration(int32_t sessionId) override;
    int32_t GetCollaborationStartInfos(int32_t systemAbilityId, std::vector<sptr<StartInfo>>& infos) override;
    int32_t RegisterCollaborationDataCallback(int32_t sessionId, const sptr<DataCallback>& callback) override;
    int32_t UnRegisterCollaborationDataCallback(int32_t sessionId) override;
    int32_t SendCollaborationData(int32_t sessionId, const void* data, uint32_t size) override;

    // Called by the soft bus, through the functions of the session listener.
    void OnOpened(int32_t sessionId, int32_t result);
    void OnClosed(int32_t sessionId);
    void OnBytes(int32_t sessionId, const void* data, uint32_t size);

private:
    template <typename T, typename... Args>
    friend sptr<T> Vexo::MakeSptr(Args&&... args);

    enum class Stage { OPENING, OPEN, ENDED };
    // One session to or from a peer. The members are guarded by mutex_, except id, networkId, inbound and data, which
    // are constant.
    struct Session {
        int32_t id;
        std::string networkId;
        bool inbound;
        Stage stage = Stage::OPENING;
        int32_t failure = COLLABORATION_OK;  // when ended: the result for callers that waited for it to open
        std::set<int32_t> abilities = {};    // those whose collaborations use it
        SteadyTime lastUse = {};
        Tasks::Timer expiry{};  // closes an open outbound session
        bool readySent = false;
        const std::shared_ptr<DataChannel> data = std::make_shared<DataChannel>(id);
    };
    using SessionPtr = std::shared_ptr<Session>;
    // A start that waits for its answer. It lives on the stack of SendStart, and is guarded by mutex_.
    struct Pending {
        int32_t sessionId;
        bool answered = false;
        int32_t code = COLLABORATION_OK;
    };

    CollaborationServer(std::chrono::milliseconds startLimit, Tasks::Timers& timers, SoftBus::PeerPolicy* policy);

    // Finds or opens the session to the peer, and blocks until it is open or deadline. reused: it was open already.
    // Returns a CollaborationResult.
    int32_t EnsureSession(const std::string& networkId, SteadyTime deadline, SessionPtr& session, bool& reused);
    int32_t BeginSession(const std::string& networkId, SessionPtr& session) REQUIRES(mutex_);
    static int Send(int32_t sessionId, const Parcel& parcel);
    // Returns the open session with that id and updates its lastUse; null if there is none.
    SessionPtr Use(int32_t sessionId) REQUIRES(mutex_);
    // Sends the start and blocks until its answer or deadline. Returns COLLABORATION_NO_SUCH_SESSION if the session
    // ended first.
    int32_t SendStart(const SessionPtr& session, const TargetInfo& target, int32_t systemAbilityId,
                      SteadyTime deadline);
    void HandleAnswer(int32_t sessionId, const AnswerMessage& answer);

    void End(const SessionPtr& ended, int32_t failure) REQUIRES(mutex_);
    void Close(const SessionPtr& session) REQUIRES(mutex_);
    void ArmExpiry(const SessionPtr& session, std::chrono::milliseconds delay) REQUIRES(mutex_);
    void Expire(int32_t sessionId);

    void HandleStart(int32_t sessionId, const StartMessage& start);
    int32_t StartAbility(int32_t sessionId, int32_t systemAbilityId);
    // Asks the policy about that device. Returns COLLABORATION_OK, or the PeerRefusal, which is logged.
    int32_t Admit(const std::string& networkId);
    void Answer(int32_t sessionId, uint32_t request, int32_t code);

    // Returns why the session must be closed; null if it stays open.
    const char* HandleData(int32_t sessionId, std::string bytes);
    void HandleReady(int32_t sessionId);

    const std::chrono::milliseconds startLimit_;
    Tasks::Timers& timers_;                          // for the expiry of sessions; waits use the system's clock
    SoftBus::PeerPolicy* const policy_;              // may be null; called without mutex_
    QuviewDFX::LogLimit<std::string> refusalLines_;  // by network id
    Mutex mutex_;
    CondVar changed_;  // a session opened or ended, or an answer arrived
    bool stopped_ GUARDED_BY(mutex_) = false;
    uint32_t lastRequest_ GUARDED_BY(mutex_) = 0;
    std::map<int32_t, SessionPtr> sessions_ GUARDED_BY(mutex_);      // opening or open, both directions, by id
    std::map<std::string, SessionPtr> outbound_ GUARDED_BY(mutex_);  // opened by this side, by network id
    std::map<uint32_t, Pending*> pending_ GUARDED_BY(mutex_);        // by request
};

}  // namespace Vexo::CollaborationFwk
