// CollaborationServer: the collaboration framework of this device: one soft-bus session to each peer that it works
// with, over which starts and their answers travel (collaboration_message.h). The host makes it once 4700 is
// registered, and registers it as ability 70635. Any thread; StartCollaboration blocks, at most for the answer limit.
// Callbacks of the soft bus arrive on session strands.
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
#include "platform/ipc/iremote_object.h"

namespace Vexo::CollaborationFwk {

inline constexpr const char* COLLABORATION_PACKAGE = "vexo.distnet";
inline constexpr const char* COLLABORATION_SESSION = "vexo.distnet.collaboration";

struct CollaborationOptions {
    std::chrono::milliseconds answerLimit{5'000};
    std::chrono::milliseconds expiry{30'000};  // after the last start
};

class CollaborationServer : public ICollaborationService, public IPCObjectStub {
public:
    // Serves peers from now on. One at a time in a process. The error says what the soft bus refused.
    static Result<sptr<CollaborationServer>> Start(CollaborationOptions options = {});
    // Ends every collaboration; starts that wait fail. Idempotent.
    void Stop();

    StartResult StartCollaboration(int32_t systemAbilityId, const sptr<TargetInfo>& target) override;
    int32_t StopCollaboration(int32_t sessionId) override;
    int32_t GetCollaborationStartInfos(int32_t systemAbilityId, std::vector<sptr<StartInfo>>& infos) override;

    // From the soft bus, through the listener's plain functions.
    void OnOpened(int32_t sessionId, int32_t result);
    void OnClosed(int32_t sessionId);
    void OnBytes(int32_t sessionId, const void* data, uint32_t size);

private:
    template <typename T, typename... Args>
    friend sptr<T> Vexo::MakeSptr(Args&&... args);

    struct Session {
        std::string networkId;
        bool inbound = false;
        bool open = false;
        std::set<int32_t> abilities;  // that a start named and the peer, or we, could wake
        std::chrono::steady_clock::time_point lastUse;
    };
    struct Pending {  // a start that waits for its answer
        int32_t sessionId = 0;
        bool answered = false;
        int32_t code = COLLABORATION_OK;
    };

    explicit CollaborationServer(CollaborationOptions options);

    using Deadline = std::chrono::steady_clock::time_point;
    // The open session to the peer: an existing one (reused) or a new one. A CollaborationResult.
    int32_t EnsureSession(const std::string& networkId, Deadline deadline, int32_t& sessionId, bool& reused);
    int32_t Ask(int32_t sessionId, const TargetInfo& target, int32_t systemAbilityId, Deadline deadline);
    void Remove(int32_t sessionId) REQUIRES(mutex_);
    void ArmExpiry(int32_t sessionId, std::chrono::milliseconds delay);
    void Expire(int32_t sessionId);
    void HandleStart(int32_t sessionId, const StartMessage& start);
    void WakeAndAnswer(int32_t sessionId, const StartMessage& start);
    void HandleAnswer(int32_t sessionId, const AnswerMessage& answer);

    const CollaborationOptions options_;
    Mutex mutex_;
    CondVar changed_;  // a session opened or closed, or an answer came
    bool stopped_ GUARDED_BY(mutex_) = false;
    uint32_t lastRequest_ GUARDED_BY(mutex_) = 0;
    std::map<int32_t, Session> sessions_ GUARDED_BY(mutex_);      // by session id, both directions
    std::map<std::string, int32_t> outbound_ GUARDED_BY(mutex_);  // network id → the session that we opened
    std::map<uint32_t, Pending> pending_ GUARDED_BY(mutex_);      // by request
};

}  // namespace Vexo::CollaborationFwk
