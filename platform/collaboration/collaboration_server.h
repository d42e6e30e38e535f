// CollaborationServer: the collaboration framework of this device. It opens at most one soft-bus session to each peer.
// A session carries requests to start an ability (service), their answers, and data (collaboration_message.h). The host
// creates the server after the soft bus was registered as ability 4700, and registers the server as ability 70635.
// Thread-safe. StartCollaboration blocks for at most the startLimit that was passed to Start. The soft bus calls
// OnOpened, OnClosed and OnBytes on a strand of the session.
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
// The longest time that StartCollaboration blocks if the peer may have to be found over Bluetooth first. A person must
// get an answer within 10 s.
inline constexpr std::chrono::milliseconds COLLABORATION_SEEKING_START_LIMIT{9'800};
// How long StartCollaboration waits for an answer over an existing session before it tries a new session. The network
// of the existing session may be gone.
inline constexpr std::chrono::milliseconds COLLABORATION_KEPT_SESSION_LIMIT{1'500};
// The side that opened a session closes the session this long after its last use.
inline constexpr std::chrono::seconds COLLABORATION_EXPIRY{30};

class CollaborationServer : public ICollaborationService, public IPCObjectStub {
public:
    // Creates the server, which answers peers from now on. Only one server may run in a process. Errors: ALREADY_EXISTS
    // if one runs already, REFUSED if the soft bus refuses the session server.
    // startLimit: the longest time for which StartCollaboration blocks. policy: decides which devices may start a
    // service here, and is notified when a peer refuses this device. The policy must outlive the server. If policy is
    // null, every device of the account may start a service.
    [[nodiscard]] static Result<sptr<CollaborationServer>> Start(
        std::chrono::milliseconds startLimit = COLLABORATION_START_LIMIT,
        Tasks::Timers& timers = Tasks::Timers::System(), SoftBus::PeerPolicy* policy = nullptr);
    // Ends all collaborations. Waiting calls of StartCollaboration fail. Idempotent.
    void Stop();

    StartResult StartCollaboration(int32_t systemAbilityId, const sptr<TargetInfo>& target) override;
    int32_t StopCollaboration(int32_t sessionId) override;
    int32_t GetCollaborationStartInfos(int32_t systemAbilityId, std::vector<sptr<StartInfo>>& infos) override;
    int32_t RegisterCollaborationDataCallback(int32_t sessionId, const sptr<DataCallback>& callback) override;
    int32_t UnRegisterCollaborationDataCallback(int32_t sessionId) override;
    int32_t SendCollaborationData(int32_t sessionId, const void* data, uint32_t size) override;

    // The session listener of the soft bus calls these three functions.
    void OnOpened(int32_t sessionId, int32_t result);
    void OnClosed(int32_t sessionId);
    void OnBytes(int32_t sessionId, const void* data, uint32_t size);

private:
    template <typename T, typename... Args>
    friend sptr<T> Vexo::MakeSptr(Args&&... args);

    enum class Stage { OPENING, OPEN, ENDED };
    // One session to or from a peer. id, networkId, inbound and data are constant. mutex_ guards the other members.
    struct Session {
        int32_t id;
        std::string networkId;
        bool inbound;
        Stage stage = Stage::OPENING;
        int32_t failure = COLLABORATION_OK;  // the result for callers that waited for a session that has ended
        std::set<int32_t> abilities = {};    // the abilities whose collaborations use this session
        SteadyTime lastUse = {};
        Tasks::Timer expiry{};  // closes an open outbound session after COLLABORATION_EXPIRY
        bool readySent = false;
        const std::shared_ptr<DataChannel> data = std::make_shared<DataChannel>(id);
    };
    using SessionPtr = std::shared_ptr<Session>;
    // A START message that waits for the peer's ANSWER message. The object is a local variable of SendStart. mutex_
    // guards its members.
    struct Pending {
        int32_t sessionId;
        bool answered = false;
        int32_t code = COLLABORATION_OK;
    };

    CollaborationServer(std::chrono::milliseconds startLimit, Tasks::Timers& timers, SoftBus::PeerPolicy* policy);

    // Finds the open session to the peer or opens a new one. Blocks until the session is open. deadline: the latest
    // time to return. reused: set to true if the session was open already. Returns a CollaborationResult.
    int32_t EnsureSession(const std::string& networkId, SteadyTime deadline, SessionPtr& session, bool& reused);
    int32_t BeginSession(const std::string& networkId, SessionPtr& session) REQUIRES(mutex_);
    static int Send(int32_t sessionId, const Parcel& parcel);
    // Returns the open session with that id, and sets its lastUse to now. Returns null if there is none.
    SessionPtr Use(int32_t sessionId) REQUIRES(mutex_);
    // Sends the request to start the ability. Blocks until the answer arrives. deadline: the latest time to return.
    // Returns COLLABORATION_NO_SUCH_SESSION if the session ends before the answer.
    int32_t SendStart(const SessionPtr& session, const TargetInfo& target, int32_t systemAbilityId,
                      SteadyTime deadline);
    void HandleAnswer(int32_t sessionId, const AnswerMessage& answer);

    void End(const SessionPtr& ended, int32_t failure) REQUIRES(mutex_);
    void Close(const SessionPtr& session) REQUIRES(mutex_);
    void ArmExpiry(const SessionPtr& session, std::chrono::milliseconds delay) REQUIRES(mutex_);
    void Expire(int32_t sessionId);

    void HandleStart(int32_t sessionId, const StartMessage& start);
    int32_t StartAbility(int32_t sessionId, int32_t systemAbilityId);
    // Asks the policy about the device with that network id. Returns COLLABORATION_OK if the device may start a service
    // here. Otherwise logs and returns the PeerRefusal.
    int32_t Admit(const std::string& networkId);
    void Answer(int32_t sessionId, uint32_t request, int32_t code);

    // Returns why the session must be closed, or null if the session stays open.
    const char* HandleData(int32_t sessionId, std::string bytes);
    void HandleReady(int32_t sessionId);

    const std::chrono::milliseconds startLimit_;
    Tasks::Timers& timers_;                          // for the expiry of sessions; other waits use the system's clock
    SoftBus::PeerPolicy* const policy_;              // may be null; called without mutex_
    QuviewDFX::LogLimit<std::string> refusalLines_;  // key: the network id
    Mutex mutex_;
    CondVar changed_;  // signals that a session opened or ended, or that an answer arrived
    bool stopped_ GUARDED_BY(mutex_) = false;
    uint32_t lastRequest_ GUARDED_BY(mutex_) = 0;
    std::map<int32_t, SessionPtr> sessions_ GUARDED_BY(mutex_);      // opening or open, in both directions; key: the id
    std::map<std::string, SessionPtr> outbound_ GUARDED_BY(mutex_);  // opened by this side; key: the network id
    std::map<uint32_t, Pending*> pending_ GUARDED_BY(mutex_);        // key: the request number of the START message
};

}  // namespace Vexo::CollaborationFwk
