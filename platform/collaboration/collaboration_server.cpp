#include "platform/collaboration/collaboration_server.h"

#include <array>
#include <utility>

#include "platform/ability/iservice_registry.h"
#include "platform/dfx/log.h"
#include "platform/softbus/session.h"
#include "platform/tasks/elastic_pool.h"
#include "platform/tasks/timers.h"

namespace Vexo::CollaborationFwk {

namespace {

using Clock = std::chrono::steady_clock;

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "Collaboration"};

// Where the soft bus's callbacks, which carry no context, find the one server of the process.
struct Current {
    Mutex mutex;
    sptr<CollaborationServer> server GUARDED_BY(mutex);
};

Current& CurrentServer()
{
    static auto* const current =
        new Current;  // NOLINT(cppcoreguidelines-owning-memory): callbacks may come to the very end
    return *current;
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

template <typename Message>
int SendMessage(int32_t sessionId, const Message& message)
{
    Parcel parcel;
    return Encode(message, parcel)
               ? SendBytes(sessionId, parcel.GetData(), static_cast<unsigned int>(parcel.GetDataSize()))
               : SOFTBUS_INVALID_PARAM;
}

int32_t FromSoftBus(int result)
{
    switch (result) {
        case SOFTBUS_NO_SUCH_PEER:
        case SOFTBUS_NO_LINK:
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

CollaborationServer::CollaborationServer(CollaborationOptions options) : options_(options) {}

Result<sptr<CollaborationServer>> CollaborationServer::Start(CollaborationOptions options)
{
    auto server = MakeSptr<CollaborationServer>(options);
    {
        const MutexLock lock(CurrentServer().mutex);
        if (CurrentServer().server) {
            return Error{"the collaboration framework runs already in this process"};
        }
        CurrentServer().server = server;
    }
    const int result = CreateSessionServer(COLLABORATION_PACKAGE, COLLABORATION_SESSION, &LISTENER);
    if (result != SOFTBUS_OK) {
        server->Stop();
        return Error{"the collaboration framework's session server was refused with " + std::to_string(result)};
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
        sessions_.clear();
        outbound_.clear();
        changed_.NotifyAll();
    }
    (void)RemoveSessionServer(COLLABORATION_PACKAGE, COLLABORATION_SESSION);
    const MutexLock lock(CurrentServer().mutex);
    CurrentServer().server = nullptr;
}

StartResult CollaborationServer::StartCollaboration(int32_t systemAbilityId, const sptr<TargetInfo>& target)
{
    if (!target) {
        return {COLLABORATION_NULL_TARGET, 0};
    }
    const Deadline deadline = Clock::now() + options_.answerLimit;
    for (;;) {
        int32_t sessionId = 0;
        bool reused = false;
        int32_t code = EnsureSession(target->GetNetworkId(), deadline, sessionId, reused);
        if (code == COLLABORATION_OK) {
            code = Ask(sessionId, *target, systemAbilityId, deadline);
        }
        if (code == COLLABORATION_OK) {
            return {COLLABORATION_OK, sessionId};
        }
        // A session that was kept may have died with a peer that has come back since: one fresh one may do.
        if (!reused || code != COLLABORATION_NO_SUCH_SESSION) {
            return {code == COLLABORATION_NO_SUCH_SESSION ? COLLABORATION_PEER_FAILED : code, 0};
        }
    }
}

int32_t CollaborationServer::EnsureSession(const std::string& networkId, Deadline deadline, int32_t& sessionId,
                                           bool& reused)
{
    const MutexLock lock(mutex_);
    const auto known = outbound_.find(networkId);
    reused = known != outbound_.end();
    if (reused) {
        sessionId = known->second;
    } else {
        if (stopped_) {
            return COLLABORATION_UNAVAILABLE;
        }
        SessionAttribute attribute{TYPE_BYTES, 3, {LINK_TYPE_WIFI_5G, LINK_TYPE_WIFI_2G, LINK_TYPE_BR}};
        // Under the lock: the opened callback, on another thread, must find the session.
        sessionId = OpenSession(COLLABORATION_SESSION, COLLABORATION_SESSION, networkId.c_str(), "", &attribute);
        if (sessionId < 0) {
            return FromSoftBus(sessionId);
        }
        outbound_[networkId] = sessionId;
        sessions_[sessionId] = Session{networkId, false, false, {}, Clock::now()};
        ArmExpiry(sessionId, options_.expiry);
    }
    for (;;) {
        const auto session = sessions_.find(sessionId);
        if (session == sessions_.end()) {
            return reused ? COLLABORATION_NO_SUCH_SESSION : COLLABORATION_PEER_FAILED;
        }
        if (session->second.open) {
            return COLLABORATION_OK;
        }
        if (!changed_.WaitUntil(mutex_, deadline)) {
            return COLLABORATION_TIMED_OUT;
        }
    }
}

int32_t CollaborationServer::Ask(int32_t sessionId, const TargetInfo& target, int32_t systemAbilityId,
                                 Deadline deadline)
{
    MutexLock lock(mutex_);
    const uint32_t request = ++lastRequest_;
    pending_[request] = Pending{sessionId, false, COLLABORATION_OK};
    lock.Unlock();
    const int sent = SendMessage(sessionId, StartMessage{request, systemAbilityId, target.GetFlags(),
                                                         target.GetAction(), target.GetParameters()});
    lock.Lock();
    while (sent == SOFTBUS_OK && !pending_[request].answered && sessions_.contains(sessionId)) {
        if (!changed_.WaitUntil(mutex_, deadline)) {
            break;
        }
    }
    const Pending result = pending_[request];
    pending_.erase(request);
    const auto session = sessions_.find(sessionId);
    if (result.answered) {
        if (session != sessions_.end() && result.code == COLLABORATION_OK) {
            session->second.abilities.insert(systemAbilityId);
            session->second.lastUse = Clock::now();
        }
        return result.code;
    }
    if (sent != SOFTBUS_OK && sent != SOFTBUS_NO_SUCH_SESSION) {
        return FromSoftBus(sent);
    }
    if (sent == SOFTBUS_NO_SUCH_SESSION) {
        Remove(sessionId);
    }
    return sessions_.contains(sessionId) ? COLLABORATION_TIMED_OUT : COLLABORATION_NO_SUCH_SESSION;
}

int32_t CollaborationServer::StopCollaboration(int32_t sessionId)
{
    {
        const MutexLock lock(mutex_);
        if (!sessions_.contains(sessionId)) {
            return COLLABORATION_NO_SUCH_SESSION;
        }
        Remove(sessionId);
    }
    CloseSession(sessionId);
    return COLLABORATION_OK;
}

int32_t CollaborationServer::GetCollaborationStartInfos(int32_t systemAbilityId, std::vector<sptr<StartInfo>>& infos)
{
    const MutexLock lock(mutex_);
    infos.clear();
    for (const auto& [sessionId, session] : sessions_) {
        if (session.open && session.abilities.contains(systemAbilityId)) {
            infos.push_back(MakeSptr<StartInfo>(sessionId, session.networkId, session.inbound));
        }
    }
    return COLLABORATION_OK;
}

void CollaborationServer::Remove(int32_t sessionId)
{
    const auto session = sessions_.find(sessionId);
    if (session == sessions_.end()) {
        return;
    }
    const auto outbound = outbound_.find(session->second.networkId);
    if (outbound != outbound_.end() && outbound->second == sessionId) {
        outbound_.erase(outbound);
    }
    sessions_.erase(session);
    changed_.NotifyAll();
}

void CollaborationServer::ArmExpiry(int32_t sessionId, std::chrono::milliseconds delay)
{
    Tasks::RunAfter(delay, [self = sptr<CollaborationServer>(this), sessionId] { self->Expire(sessionId); });
}

// The side that opened a session ends it once it has not been used for the expiry.
void CollaborationServer::Expire(int32_t sessionId)
{
    {
        const MutexLock lock(mutex_);
        const auto session = sessions_.find(sessionId);
        if (session == sessions_.end()) {
            return;
        }
        const auto idle = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - session->second.lastUse);
        if (idle < options_.expiry) {
            ArmExpiry(sessionId, options_.expiry - idle);
            return;
        }
        Remove(sessionId);
    }
    CloseSession(sessionId);
}

void CollaborationServer::OnOpened(int32_t sessionId, int32_t result)
{
    const MutexLock lock(mutex_);
    const auto session = sessions_.find(sessionId);
    if (session != sessions_.end()) {
        session->second.open = true;
        if (result != SOFTBUS_OK) {
            Remove(sessionId);
        }
        changed_.NotifyAll();
        return;
    }
    std::array<char, NETWORK_ID_BUF_LEN> networkId{};
    if (result == SOFTBUS_OK && !stopped_ &&
        GetPeerDeviceId(sessionId, networkId.data(), static_cast<unsigned int>(networkId.size())) == SOFTBUS_OK) {
        sessions_[sessionId] = Session{networkId.data(), true, true, {}, Clock::now()};
    }
}

void CollaborationServer::OnClosed(int32_t sessionId)
{
    const MutexLock lock(mutex_);
    Remove(sessionId);
}

void CollaborationServer::OnBytes(int32_t sessionId, const void* data, uint32_t size)
{
    const auto message = Decode(data, size);
    if (const auto* start = std::get_if<StartMessage>(&message)) {
        HandleStart(sessionId, *start);
    } else if (const auto* answer = std::get_if<AnswerMessage>(&message)) {
        HandleAnswer(sessionId, *answer);
    } else {
        QuviewDFX::LogWarn(LABEL, "session %{public}d: a damaged message of %{public}u bytes; closed", sessionId, size);
        (void)StopCollaboration(sessionId);
    }
}

void CollaborationServer::HandleStart(int32_t sessionId, const StartMessage& start)
{
    // Loading may take seconds, and a session's strand must not.
    Tasks::ElasticPool::Shared().Post(
        [self = sptr<CollaborationServer>(this), sessionId, start] { self->WakeAndAnswer(sessionId, start); });
}

void CollaborationServer::WakeAndAnswer(int32_t sessionId, const StartMessage& start)
{
    int32_t code = COLLABORATION_PEER_FAILED;
    const auto manager = SystemAbilityManagerClient::GetInstance().GetSystemAbilityManager();
    // A peer may wake the service and nothing else of this device.
    if (manager && start.systemAbilityId == COMM_DISTRIBUTED_NET_ABILITY_ID &&
        manager->LoadSystemAbility(start.systemAbilityId) == ERR_OK) {
        {
            const MutexLock lock(mutex_);
            const auto session = sessions_.find(sessionId);
            if (session == sessions_.end()) {
                return;
            }
            session->second.abilities.insert(start.systemAbilityId);
            session->second.lastUse = Clock::now();
        }
        (void)manager->AnnounceSystemAbility(COLL_FWK_SA_ID);
        code = COLLABORATION_OK;
    } else {
        QuviewDFX::LogWarn(LABEL, "session %{public}d: ability %{public}d is not to be woken or did not start",
                           sessionId, start.systemAbilityId);
    }
    (void)SendMessage(sessionId, AnswerMessage{start.request, code});
}

void CollaborationServer::HandleAnswer(int32_t sessionId, const AnswerMessage& answer)
{
    const MutexLock lock(mutex_);
    const auto pending = pending_.find(answer.request);
    // An answer that nobody waits for any more, or that came over another session, decides nothing.
    if (pending != pending_.end() && pending->second.sessionId == sessionId) {
        pending->second.answered = true;
        pending->second.code = answer.code;
        changed_.NotifyAll();
    }
}

}  // namespace Vexo::CollaborationFwk
