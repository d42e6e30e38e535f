#include "platform/collaboration/collaboration_server.h"

#include <algorithm>
#include <array>
#include <utility>

#include "platform/ability/iservice_registry.h"
#include "platform/base/never_destroyed.h"
#include "platform/base/text.h"
#include "platform/dfx/log.h"
#include "platform/softbus/session.h"
#include "platform/tasks/elastic_pool.h"
#include "platform/tasks/timers.h"

namespace Vexo::CollaborationFwk {

namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "Collaboration"};

// Holds the only CollaborationServer of the process. The soft bus passes no context to its callbacks, so they find the
// server here.
struct Current {
    Mutex mutex;
    sptr<CollaborationServer> server GUARDED_BY(mutex);
};

Current& CurrentServer()
{
    static NeverDestroyed<Current> current;
    return current.value;
}

sptr<CollaborationServer> Server()
{
    const MutexLock lock(CurrentServer().mutex);
    return CurrentServer().server;
}

int OpenedAdapter(int sessionId, int result)
{
    if (const auto server = Server()) {
        server->OnOpened(sessionId, result);
    }
    return 0;
}

void ClosedAdapter(int sessionId)
{
    if (const auto server = Server()) {
        server->OnClosed(sessionId);
    }
}

void BytesAdapter(int sessionId, const void* data, unsigned int size)
{
    if (const auto server = Server()) {
        server->OnBytes(sessionId, data, size);
    }
}

constexpr ISessionListener LISTENER{OpenedAdapter, ClosedAdapter, BytesAdapter, nullptr, nullptr, nullptr};

int32_t ResultOfSoftBus(int result)
{
    switch (result) {
        case SOFTBUS_NO_SUCH_PEER:
        case SOFTBUS_NO_LINK:
        case SOFTBUS_INVALID_PARAM:  // the network id is not valid
            return COLLABORATION_NO_SUCH_PEER;
        case SOFTBUS_UNAVAILABLE:
            return COLLABORATION_UNAVAILABLE;
        case SOFTBUS_TIMED_OUT:
            return COLLABORATION_TIMED_OUT;
        default:
            return COLLABORATION_PEER_FAILED;
    }
}

}  // namespace

CollaborationServer::CollaborationServer(std::chrono::milliseconds startLimit, Tasks::Timers& timers,
                                         SoftBus::PeerPolicy* policy)
    : startLimit_(startLimit), timers_(timers), policy_(policy)
{
}

Result<sptr<CollaborationServer>> CollaborationServer::Start(std::chrono::milliseconds startLimit,
                                                             Tasks::Timers& timers, SoftBus::PeerPolicy* policy)
{
    auto server = MakeSptr<CollaborationServer>(startLimit, timers, policy);
    {
        const MutexLock lock(CurrentServer().mutex);
        if (CurrentServer().server) {
            return Fail(ErrorCode::ALREADY_EXISTS, "the collaboration framework already runs in this process");
        }
        CurrentServer().server = server;
    }
    const int result = CreateSessionServer(COLLABORATION_PACKAGE, COLLABORATION_SESSION, &LISTENER);
    if (result != SOFTBUS_OK) {
        server->Stop();
        return Fail(ErrorCode::REFUSED,
                    "the collaboration framework's session server was refused with " + std::to_string(result));
    }
    return server;
}

void CollaborationServer::Stop()
{
    {
        const MutexLock lock(mutex_);
        if (std::exchange(stopped_, true)) {
            return;
        }
        while (!sessions_.empty()) {
            End(sessions_.begin()->second, COLLABORATION_UNAVAILABLE);
        }
    }
    (void)RemoveSessionServer(COLLABORATION_PACKAGE, COLLABORATION_SESSION);
    const MutexLock lock(CurrentServer().mutex);
    CurrentServer().server = nullptr;
}

int CollaborationServer::Send(int32_t sessionId, const Parcel& parcel)
{
    return SendBytes(sessionId, parcel.GetData(), static_cast<unsigned int>(parcel.GetDataSize()));
}

// ---- Collaborations that this device starts

StartResult CollaborationServer::StartCollaboration(int32_t systemAbilityId, const sptr<TargetInfo>& target)
{
    if (!target) {
        return {COLLABORATION_NULL_TARGET, 0};
    }
    const SteadyTime deadline = Clock::System().Now() + startLimit_;
    int32_t code = COLLABORATION_TIMED_OUT;
    do {
        SessionPtr session;
        bool reused = false;
        code = EnsureSession(target->GetNetworkId(), deadline, session, reused);
        if (code == COLLABORATION_OK) {
            const SteadyTime answerBy =
                reused ? std::min(deadline, Clock::System().Now() + COLLABORATION_KEPT_SESSION_LIMIT) : deadline;
            code = SendStart(session, *target, systemAbilityId, answerBy);
            if (reused && code == COLLABORATION_TIMED_OUT) {
                const MutexLock lock(mutex_);
                Close(session);
                code = COLLABORATION_NO_SUCH_SESSION;
            }
        }
        if (code == COLLABORATION_OK) {
            return {COLLABORATION_OK, session->id};
        }
        // A reused session may be broken, because the peer has restarted or the session's network is gone. Try again
        // with a new session.
        if (!reused) {
            break;
        }
    } while (code == COLLABORATION_NO_SUCH_SESSION && Clock::System().Now() < deadline);
    return {code == COLLABORATION_NO_SUCH_SESSION ? COLLABORATION_PEER_FAILED : code, 0};
}

int32_t CollaborationServer::EnsureSession(const std::string& networkId, SteadyTime deadline, SessionPtr& session,
                                           bool& reused)
{
    const MutexLock lock(mutex_);
    const auto known = outbound_.find(networkId);
    if (known != outbound_.end()) {
        session = known->second;
        session->lastUse = timers_.Now();
    } else if (const int32_t code = BeginSession(networkId, session); code != COLLABORATION_OK) {
        return code;
    }
    reused = session->stage == Stage::OPEN;
    while (session->stage == Stage::OPENING) {
        if (!changed_.WaitUntil(mutex_, deadline) && session->stage == Stage::OPENING) {
            return COLLABORATION_TIMED_OUT;
        }
    }
    return session->stage == Stage::OPEN ? COLLABORATION_OK : session->failure;
}

int32_t CollaborationServer::BeginSession(const std::string& networkId, SessionPtr& session)
{
    if (stopped_) {
        return COLLABORATION_UNAVAILABLE;
    }
    const SessionAttribute attribute{TYPE_BYTES, 3, {LINK_TYPE_WIFI_5G, LINK_TYPE_WIFI_2G, LINK_TYPE_BR}};
    // mutex_ is held during this call, so that OnSessionOpened, which runs on another thread, finds the session.
    const int id = OpenSession(COLLABORATION_SESSION, COLLABORATION_SESSION, networkId.c_str(), "", &attribute);
    if (id < 0) {
        return ResultOfSoftBus(id);
    }
    session = std::make_shared<Session>(Session{.id = id, .networkId = networkId, .inbound = false});
    outbound_[networkId] = session;
    sessions_[id] = session;
    return COLLABORATION_OK;
}

int32_t CollaborationServer::SendStart(const SessionPtr& session, const TargetInfo& target, int32_t systemAbilityId,
                                       SteadyTime deadline)
{
    Pending pending{session->id};
    uint32_t request = 0;
    {
        const MutexLock lock(mutex_);
        request = ++lastRequest_;
        pending_[request] = &pending;
    }
    Parcel parcel;
    const bool fits = Encode(StartMessage{request, target.GetSystemAbilityId(), target.GetFlags(), target.GetAction(),
                                          target.GetParameters()},
                             parcel);
    const int sent = fits ? Send(session->id, parcel) : SOFTBUS_OK;

    MutexLock lock(mutex_);
    while (fits && sent == SOFTBUS_OK && !pending.answered && session->stage == Stage::OPEN) {
        if (!changed_.WaitUntil(mutex_, deadline)) {
            break;
        }
    }
    pending_.erase(request);
    if (!fits) {
        return COLLABORATION_TOO_LARGE;
    }
    if (pending.answered) {
        if (pending.code != COLLABORATION_OK) {
            lock.Unlock();
            const SoftBus::PeerRefusal refusal = SoftBus::PeerRefusalOf(pending.code);
            if (refusal != SoftBus::PeerRefusal::NONE && policy_ != nullptr) {
                policy_->OnRefusedBy(session->networkId, refusal);
            }
            return COLLABORATION_PEER_FAILED;
        }
        session->abilities.insert(systemAbilityId);
        session->lastUse = timers_.Now();
        return COLLABORATION_OK;
    }
    if (sent == SOFTBUS_NO_SUCH_SESSION) {
        End(session, COLLABORATION_PEER_FAILED);
    }
    if (session->stage == Stage::ENDED) {
        return COLLABORATION_NO_SUCH_SESSION;
    }
    return sent == SOFTBUS_OK ? COLLABORATION_TIMED_OUT : ResultOfSoftBus(sent);
}

void CollaborationServer::HandleAnswer(int32_t sessionId, const AnswerMessage& answer)
{
    const MutexLock lock(mutex_);
    const auto pending = pending_.find(answer.request);
    // Ignore an answer if no call waits for it any more, or if the answer arrived over another session.
    if (pending != pending_.end() && pending->second->sessionId == sessionId) {
        pending->second->answered = true;
        pending->second->code = answer.code;
        changed_.NotifyAll();
    }
}

// ---- Running collaborations

int32_t CollaborationServer::StopCollaboration(int32_t sessionId)
{
    const MutexLock lock(mutex_);
    const auto session = sessions_.find(sessionId);
    if (session == sessions_.end()) {
        return COLLABORATION_NO_SUCH_SESSION;
    }
    Close(session->second);
    return COLLABORATION_OK;
}

int32_t CollaborationServer::GetCollaborationStartInfos(int32_t systemAbilityId, std::vector<sptr<StartInfo>>& infos)
{
    const MutexLock lock(mutex_);
    infos.clear();
    for (const auto& [id, session] : sessions_) {
        if (session->abilities.contains(systemAbilityId)) {
            infos.push_back(MakeSptr<StartInfo>(id, session->networkId));
        }
    }
    return COLLABORATION_OK;
}

void CollaborationServer::End(const SessionPtr& ended, int32_t failure)
{
    // Copy the pointer, because the parameter "ended" may refer to an element that is erased from the map.
    const SessionPtr session = ended;  // NOLINT(performance-unnecessary-copy-initialization): see above
    if (session->stage == Stage::ENDED) {
        return;
    }
    session->stage = Stage::ENDED;
    session->failure = failure;
    session->expiry.Cancel();
    if (!session->inbound) {
        outbound_.erase(session->networkId);
    }
    sessions_.erase(session->id);
    session->data->End();
    changed_.NotifyAll();
}

// The caller must hold mutex_ until the session is closed. Otherwise OnSessionOpened could run for an open session that
// is not in sessions_, and treat this session as one that the peer has opened.
void CollaborationServer::Close(const SessionPtr& session)
{
    const int32_t id = session->id;
    End(session, COLLABORATION_PEER_FAILED);
    CloseSession(id);
}

void CollaborationServer::ArmExpiry(const SessionPtr& session, std::chrono::milliseconds delay)
{
    session->expiry =
        timers_.RunAfter(delay, [self = sptr<CollaborationServer>(this), id = session->id] { self->Expire(id); });
}

void CollaborationServer::Expire(int32_t sessionId)
{
    const MutexLock lock(mutex_);
    const auto found = sessions_.find(sessionId);
    if (found == sessions_.end()) {
        return;
    }
    const SessionPtr session = found->second;
    const auto idle = std::chrono::duration_cast<std::chrono::milliseconds>(timers_.Now() - session->lastUse);
    if (idle < COLLABORATION_EXPIRY) {
        ArmExpiry(session, COLLABORATION_EXPIRY - idle);
    } else {
        Close(session);
    }
}

// ---- Callbacks of the soft bus, on session strands

void CollaborationServer::OnOpened(int32_t sessionId, int32_t result)
{
    const MutexLock lock(mutex_);
    const auto session = sessions_.find(sessionId);
    if (session != sessions_.end()) {
        if (result != SOFTBUS_OK) {
            End(session->second, ResultOfSoftBus(result));
            return;
        }
        session->second->stage = Stage::OPEN;
        session->second->lastUse = timers_.Now();
        ArmExpiry(session->second, COLLABORATION_EXPIRY);
        changed_.NotifyAll();
        return;
    }
    std::array<char, NETWORK_ID_BUF_LEN> networkId{};
    if (result == SOFTBUS_OK && !stopped_ &&
        GetPeerDeviceId(sessionId, networkId.data(), static_cast<unsigned int>(networkId.size())) == SOFTBUS_OK) {
        sessions_[sessionId] = std::make_shared<Session>(
            Session{.id = sessionId, .networkId = networkId.data(), .inbound = true, .stage = Stage::OPEN});
    }
}

void CollaborationServer::OnClosed(int32_t sessionId)
{
    const MutexLock lock(mutex_);
    const auto session = sessions_.find(sessionId);
    if (session != sessions_.end()) {
        End(session->second, COLLABORATION_PEER_FAILED);
    }
}

void CollaborationServer::OnBytes(int32_t sessionId, const void* data, uint32_t size)
{
    auto message = Decode(data, size);
    const char* fault = nullptr;
    if (const auto* start = std::get_if<StartMessage>(&message)) {
        HandleStart(sessionId, *start);
    } else if (const auto* answer = std::get_if<AnswerMessage>(&message)) {
        HandleAnswer(sessionId, *answer);
    } else if (auto* bytes = std::get_if<DataMessage>(&message)) {
        fault = HandleData(sessionId, std::move(bytes->bytes));
    } else if (std::holds_alternative<ReadyMessage>(message)) {
        HandleReady(sessionId);
    } else {
        fault = "a damaged message";
    }
    if (fault != nullptr && StopCollaboration(sessionId) == COLLABORATION_OK) {
        QuviewDFX::LogWarn(LABEL, "session %{public}d: %{public}s of %{public}u bytes; closed", sessionId, fault, size);
    }
}

// ---- Starts that a peer asks for

void CollaborationServer::HandleStart(int32_t sessionId, const StartMessage& start)
{
    // Loading an ability may take seconds, and must not block the strand of the session.
    const bool posted = Tasks::ElasticPool::Shared().Post(
        [self = sptr<CollaborationServer>(this), sessionId, id = start.systemAbilityId, request = start.request] {
            self->Answer(sessionId, request, self->StartAbility(sessionId, id));
        });
    if (!posted) {
        Answer(sessionId, start.request, COLLABORATION_PEER_FAILED);
    }
}

int32_t CollaborationServer::StartAbility(int32_t sessionId, int32_t systemAbilityId)
{
    if (systemAbilityId != COMM_DISTRIBUTED_NET_ABILITY_ID) {
        QuviewDFX::LogWarn(LABEL, "session %{public}d: a peer may not start ability %{public}d", sessionId,
                           systemAbilityId);
        return COLLABORATION_PEER_FAILED;
    }
    std::string networkId;
    {
        const MutexLock lock(mutex_);
        const auto session = sessions_.find(sessionId);
        if (session == sessions_.end()) {
            return COLLABORATION_NO_SUCH_SESSION;
        }
        networkId = session->second->networkId;
    }
    if (const int32_t code = Admit(networkId); code != COLLABORATION_OK) {
        return code;
    }
    const auto manager = SystemAbilityManagerClient::GetInstance().GetSystemAbilityManager();
    const int32_t loaded = manager ? manager->LoadSystemAbility(systemAbilityId) : ERR_NOT_FOUND;
    if (loaded != ERR_OK) {
        QuviewDFX::LogWarn(LABEL, "session %{public}d: ability %{public}d did not start: %{public}d", sessionId,
                           systemAbilityId, loaded);
        return COLLABORATION_PEER_FAILED;
    }
    {
        const MutexLock lock(mutex_);
        const auto session = sessions_.find(sessionId);
        if (session == sessions_.end()) {
            return COLLABORATION_NO_SUCH_SESSION;
        }
        session->second->abilities.insert(systemAbilityId);
    }
    (void)manager->AnnounceSystemAbility(COLL_FWK_SA_ID);
    return COLLABORATION_OK;
}

int32_t CollaborationServer::Admit(const std::string& networkId)
{
    const SoftBus::PeerRefusal refusal = policy_ != nullptr ? policy_->Admit(networkId) : SoftBus::PeerRefusal::NONE;
    if (refusal == SoftBus::PeerRefusal::NONE) {
        return COLLABORATION_OK;
    }
    if (const auto leftOut = refusalLines_.Admit(networkId)) {
        QuviewDFX::LogInfo(LABEL, "a start from %{public}s is refused by the owner's rules: %{public}s%{public}s",
                           ShortId(networkId), NameOf(SoftBus::PEER_REFUSAL_NAMES, refusal), *leftOut);
    }
    return static_cast<int32_t>(refusal);
}

void CollaborationServer::Answer(int32_t sessionId, uint32_t request, int32_t code)
{
    Parcel parcel;
    if (Encode(AnswerMessage{request, code}, parcel)) {
        (void)Send(sessionId, parcel);  // a session that has ended in the meantime needs no answer
    }
}

}  // namespace Vexo::CollaborationFwk
