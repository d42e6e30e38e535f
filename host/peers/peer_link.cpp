#include "host/peers/peer_link.h"

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <utility>

#include "host/peers/peer_requests.h"
#include "platform/base/mutex.h"
#include "platform/base/never_destroyed.h"
#include "platform/base/text.h"
#include "platform/dfx/log.h"
#include "platform/softbus/session.h"

namespace Vexo::Host {

namespace {

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "PeerLink"};

// Limits how long a call of Ask may block.
struct Limit {
    SteadyTime deadline;
    Cancellation* cancellation;
};

class Link final : public PeerLink, public std::enable_shared_from_this<Link> {
public:
    Link(Serve serve, Tasks::Timers& timers)
        : requests_(std::make_shared<PeerRequests>(std::move(serve))), timers_(timers)
    {
    }
    ~Link() override { End(); }

    Result<void> Begin() override EXCLUDES(mutex_);
    void End() override EXCLUDES(mutex_);
    Result<PeerAnswer> Ask(const std::string& networkId, const PeerRequest& request, SteadyTime deadline,
                           Cancellation* cancellation) override EXCLUDES(mutex_);

    // The soft bus calls these functions on session strands.
    void OnOpened(int sessionId, int result) EXCLUDES(mutex_);
    void OnClosed(int sessionId) EXCLUDES(mutex_);
    void OnBytes(int sessionId, const void* data, unsigned int size) EXCLUDES(mutex_);

private:
    enum class Stage { OPENING, OPEN, ENDED };
    // One session. The first three members are constant, and mutex_ guards the other members.
    struct Session {
        int id;
        std::string networkId;
        bool isInbound;
        Stage stage = Stage::OPENING;
        Error failure{};          // ENDED: the error for calls of Ask that wait
        bool wasGivenUp = false;  // the session ENDED because an answer did not arrive in time
        size_t asks = 0;          // number of calls of Ask that use the session now
        Tasks::Timer idle{};      // closes a session that this device opened and no Ask uses
    };
    using SessionPtr = std::shared_ptr<Session>;
    // The answer that a call of Ask waits for. It is on the stack of that call and is guarded by mutex_.
    struct Pending {
        int sessionId;
        std::optional<PeerAnswer> answer{};
    };

    // Sends the request once. Sets mayRetry to true if the failure is the loss of a session that was open before.
    Result<PeerAnswer> AskOnce(const std::string& networkId, const PeerRequest& request, const Limit& limit,
                               bool& mayRetry) EXCLUDES(mutex_);
    Result<PeerAnswer> Exchange(const SessionPtr& session, const PeerRequest& request, const Limit& limit)
        REQUIRES(mutex_);
    Result<SessionPtr> FindOrOpen(const std::string& networkId) REQUIRES(mutex_);
    // Waits for changed_. Returns an error if the calling Ask must stop waiting.
    std::optional<Error> Wait(const Limit& limit) REQUIRES(mutex_);

    void Forget(const SessionPtr& session, Error failure) REQUIRES(mutex_);
    void Close(const SessionPtr& session, Error failure) REQUIRES(mutex_);
    void CloseIdle(int sessionId) EXCLUDES(mutex_);

    // These functions return what is wrong with the message, or an empty text if the message is valid.
    std::string OnRequest(int sessionId, const NumberedRequest& request) EXCLUDES(mutex_);
    std::string OnUnknownRequest(int sessionId, uint32_t number) EXCLUDES(mutex_);
    std::string OnAnswer(int sessionId, NumberedAnswer answer) EXCLUDES(mutex_);
    void CloseDamaged(int sessionId, const std::string& why) EXCLUDES(mutex_);

    const std::shared_ptr<PeerRequests> requests_;
    Tasks::Timers& timers_;  // close idle sessions; blocking calls use the system clock
    Mutex mutex_;
    CondVar changed_;  // a session opened or ended, an answer arrived, or an Ask was cancelled
    bool isRunning_ GUARDED_BY(mutex_) = false;
    uint32_t lastNumber_ GUARDED_BY(mutex_) = 0;
    std::map<int, SessionPtr> sessions_ GUARDED_BY(mutex_);  // sessions that have not ended, by id
    // The sessions in sessions_ that this device opened, by network id.
    std::map<std::string, SessionPtr> outbound_ GUARDED_BY(mutex_);
    std::map<uint32_t, Pending*> pending_ GUARDED_BY(mutex_);  // calls of Ask that wait, by request number
};

// ---- The global variable in which the soft bus's callbacks find the PeerLink, because they get no context pointer.

struct Current {
    Mutex mutex;
    std::weak_ptr<Link> link GUARDED_BY(mutex);
};

Current& CurrentLink()
{
    static NeverDestroyed<Current> current;
    return current.value;
}

std::shared_ptr<Link> ActiveLink()
{
    const MutexLock lock(CurrentLink().mutex);
    return CurrentLink().link.lock();
}

int OpenedAdapter(int sessionId, int result)
{
    if (const auto link = ActiveLink()) {
        link->OnOpened(sessionId, result);
    }
    return 0;
}

void ClosedAdapter(int sessionId)
{
    if (const auto link = ActiveLink()) {
        link->OnClosed(sessionId);
    }
}

void BytesAdapter(int sessionId, const void* data, unsigned int size)
{
    if (const auto link = ActiveLink()) {
        link->OnBytes(sessionId, data, size);
    }
}

constexpr ISessionListener LISTENER{OpenedAdapter, ClosedAdapter, BytesAdapter, nullptr, nullptr, nullptr};

// ---- Converting errors

Error FromSoftBus(int result)
{
    switch (result) {
        case SOFTBUS_NO_SUCH_PEER:
        case SOFTBUS_INVALID_PARAM:  // the network id is one that no device can have
            return {ErrorCode::NOT_FOUND, "no device of this account has that id"};
        case SOFTBUS_NO_LINK:
            return {ErrorCode::UNAVAILABLE, "the device could not be reached over any transport"};
        case SOFTBUS_TIMED_OUT:
            return {ErrorCode::UNAVAILABLE, "no connection to the device was made in time"};
        case SOFTBUS_UNAVAILABLE:
            return {ErrorCode::UNAVAILABLE, "the link to other devices does not run"};
        case SOFTBUS_QUEUE_FULL:
            return {ErrorCode::UNAVAILABLE, "the device does not accept more messages"};
        default:
            return {ErrorCode::REFUSED, "the device refused the session with its daemon"};
    }
}

// Returns true if the type of the answer matches the request. PeerAnswer lists its types in the order of PeerRequest,
// but begins with the additional type UnknownAnswer.
bool Answers(const PeerAnswer& answer, const PeerRequest& request)
{
    return answer.index() == 0 || answer.index() == request.index() + 1;
}

// ---- Start and stop

Result<void> Link::Begin()
{
    End();
    {
        const MutexLock lock(mutex_);
        isRunning_ = true;
    }
    const int result = CreateSessionServer(PEER_PACKAGE, PEER_SESSION, &LISTENER);
    if (result != SOFTBUS_OK) {
        End();
        return Fail(ErrorCode::REFUSED, "the soft bus refused the session server with " + std::to_string(result));
    }
    return {};
}

void Link::End()
{
    {
        const MutexLock lock(mutex_);
        if (!std::exchange(isRunning_, false)) {
            return;
        }
        while (!sessions_.empty()) {
            const SessionPtr session = sessions_.begin()->second;
            Close(session, FromSoftBus(SOFTBUS_UNAVAILABLE));
        }
    }
    (void)RemoveSessionServer(PEER_PACKAGE, PEER_SESSION);
}

// ---- Sending requests

Result<PeerAnswer> Link::Ask(const std::string& networkId, const PeerRequest& request, SteadyTime deadline,
                             Cancellation* cancellation)
{
    const Cancellation::Waker waker(cancellation, [this] {
        const MutexLock lock(mutex_);
        changed_.NotifyAll();
    });
    while (true) {
        bool mayRetry = false;
        Result<PeerAnswer> answer = AskOnce(networkId, request, {deadline, cancellation}, mayRetry);
        if (answer || !mayRetry || Clock::System().Now() >= deadline) {
            return answer;
        }
    }
}

Result<PeerAnswer> Link::AskOnce(const std::string& networkId, const PeerRequest& request, const Limit& limit,
                                 bool& mayRetry)
{
    const MutexLock lock(mutex_);
    Result<SessionPtr> found = FindOrOpen(networkId);
    if (!found) {
        return Failure(std::move(found).error());
    }
    const SessionPtr session = found.value();
    const bool isKept = session->stage == Stage::OPEN;
    const SteadyTime keptLimit = Clock::System().Now() + PEER_KEPT_SESSION_LIMIT;
    const bool isShorter = isKept && keptLimit < limit.deadline;
    session->idle.Cancel();
    ++session->asks;
    Result<PeerAnswer> answer = Exchange(session, request, isShorter ? Limit{keptLimit, limit.cancellation} : limit);
    --session->asks;
    if (isShorter && !answer && answer.error().code == ErrorCode::TIMED_OUT && session->stage != Stage::ENDED) {
        session->wasGivenUp = true;
        Close(session, {ErrorCode::UNAVAILABLE, "the connection to the device was lost"});
    }
    if (session->asks == 0 && session->stage != Stage::ENDED) {
        session->idle = timers_.RunAfter(PEER_SESSION_IDLE, [weak = weak_from_this(), id = session->id] {
            if (const auto self = weak.lock()) {
                self->CloseIdle(id);
            }
        });
    }
    const bool isLost = session->stage == Stage::ENDED && session->failure.code == ErrorCode::UNAVAILABLE;
    mayRetry = isLost && isRunning_ && (isKept || session->wasGivenUp);
    return answer;
}

Result<PeerAnswer> Link::Exchange(const SessionPtr& session, const PeerRequest& request, const Limit& limit)
{
    while (session->stage == Stage::OPENING) {
        if (auto why = Wait(limit)) {
            return Failure(std::move(*why));
        }
    }
    if (session->stage == Stage::ENDED) {
        return Failure(session->failure);
    }
    const uint32_t number = ++lastNumber_;
    if (const int sent = SendMessage(session->id, Encode(NumberedRequest{number, request}));
        sent == SOFTBUS_NO_SUCH_SESSION) {
        Forget(session, FromSoftBus(SOFTBUS_NO_LINK));
        return Failure(session->failure);
    } else if (sent != SOFTBUS_OK) {
        return Failure(FromSoftBus(sent));
    }
    Pending pending{session->id};
    pending_[number] = &pending;
    std::optional<Error> why;
    while (!pending.answer && session->stage == Stage::OPEN && !why) {
        why = Wait(limit);
    }
    pending_.erase(number);
    if (pending.answer && !Answers(*pending.answer, request)) {
        return Fail(ErrorCode::REFUSED, "the answer of the device does not match the request");
    }
    if (pending.answer) {
        return std::move(*pending.answer);
    }
    return Failure(session->stage == Stage::ENDED ? session->failure : *why);
}

Result<Link::SessionPtr> Link::FindOrOpen(const std::string& networkId)
{
    if (!isRunning_) {
        return Failure(FromSoftBus(SOFTBUS_UNAVAILABLE));
    }
    if (const auto known = outbound_.find(networkId); known != outbound_.end()) {
        return known->second;
    }
    const SessionAttribute attribute{TYPE_BYTES, 3, {LINK_TYPE_WIFI_5G, LINK_TYPE_WIFI_2G, LINK_TYPE_BR}};
    // OpenSession is called while mutex_ is locked, so that the callback OnOpened, on another thread, finds the
    // session.
    const int id = OpenSession(PEER_SESSION, PEER_SESSION, networkId.c_str(), "", &attribute);
    if (id < 0) {
        return Failure(FromSoftBus(id));
    }
    const auto session = std::make_shared<Session>(Session{id, networkId, false});
    outbound_[networkId] = session;
    sessions_[id] = session;
    return session;
}

std::optional<Error> Link::Wait(const Limit& limit)
{
    if (limit.cancellation != nullptr && limit.cancellation->IsCancelled()) {
        return Error{ErrorCode::CANCELLED, "it was cancelled"};
    }
    if (!changed_.WaitUntil(mutex_, limit.deadline)) {
        return Error{ErrorCode::TIMED_OUT, "the device did not answer in time"};
    }
    return std::nullopt;
}

// ---- Closing sessions

void Link::Forget(const SessionPtr& session, Error failure)
{
    if (session->stage != Stage::ENDED) {
        session->stage = Stage::ENDED;
        session->failure = std::move(failure);
        session->idle.Cancel();
        if (!session->isInbound) {
            outbound_.erase(session->networkId);
        }
        sessions_.erase(session->id);
        changed_.NotifyAll();
    }
}

// Call while mutex_ is locked. Otherwise a callback OnOpened that is about to run could mistake the session for one
// that the other device opened.
void Link::Close(const SessionPtr& session, Error failure)
{
    Forget(session, std::move(failure));
    CloseSession(session->id);
}

void Link::CloseIdle(int sessionId)
{
    const MutexLock lock(mutex_);
    const auto found = sessions_.find(sessionId);
    if (found != sessions_.end() && found->second->asks == 0) {
        const SessionPtr session = found->second;
        Close(session, FromSoftBus(SOFTBUS_NO_LINK));
    }
}

// ---- Callbacks of the soft bus

void Link::OnOpened(int sessionId, int result)
{
    const MutexLock lock(mutex_);
    if (const auto found = sessions_.find(sessionId); found != sessions_.end()) {
        const SessionPtr session = found->second;
        if (result != SOFTBUS_OK) {
            Forget(session, FromSoftBus(result));
        } else {
            session->stage = Stage::OPEN;
            changed_.NotifyAll();
        }
        return;
    }
    std::array<char, NETWORK_ID_BUF_LEN> networkId{};
    if (result == SOFTBUS_OK && isRunning_ &&
        GetPeerDeviceId(sessionId, networkId.data(), static_cast<unsigned int>(networkId.size())) == SOFTBUS_OK) {
        sessions_[sessionId] = std::make_shared<Session>(Session{sessionId, networkId.data(), true, Stage::OPEN});
    }
}

void Link::OnClosed(int sessionId)
{
    const MutexLock lock(mutex_);
    if (const auto found = sessions_.find(sessionId); found != sessions_.end()) {
        const SessionPtr session = found->second;
        Forget(session, {ErrorCode::UNAVAILABLE, "the device closed the session with its daemon"});
    }
}

void Link::OnBytes(int sessionId, const void* data, unsigned int size)
{
    Result<PeerMessage> message = size <= MAX_PEER_MESSAGE
                                      ? DecodePeerMessage({static_cast<const char*>(data), size})
                                      : Fail(ErrorCode::MALFORMED, "it has " + std::to_string(size) + " bytes");
    std::string fault;
    if (!message) {
        fault = message.error().message;
    } else if (const auto* request = std::get_if<NumberedRequest>(&message.value())) {
        fault = OnRequest(sessionId, *request);
    } else if (const auto* unknown = std::get_if<UnknownRequest>(&message.value())) {
        fault = OnUnknownRequest(sessionId, unknown->number);
    } else {
        fault = OnAnswer(sessionId, std::get<NumberedAnswer>(std::move(message.value())));
    }
    if (!fault.empty()) {
        CloseDamaged(sessionId, fault);
    }
}

void Link::CloseDamaged(int sessionId, const std::string& why)
{
    const MutexLock lock(mutex_);
    const auto found = sessions_.find(sessionId);
    if (found == sessions_.end()) {
        return;
    }
    const SessionPtr session = found->second;
    QuviewDFX::LogWarn(LABEL, "a message from %{public}s is damaged: %{public}s; the session is closed",
                       ShortId(session->networkId), why);
    Close(session, {ErrorCode::REFUSED, "a message of the device was damaged: " + why});
}

std::string Link::OnAnswer(int sessionId, NumberedAnswer answer)
{
    const MutexLock lock(mutex_);
    const auto session = sessions_.find(sessionId);
    if (session != sessions_.end() && session->second->isInbound) {
        return "an answer on a session for requests";
    }
    // The Ask that sent the request may have stopped waiting.
    const auto pending = pending_.find(answer.number);
    if (pending != pending_.end() && pending->second->sessionId == sessionId) {
        pending->second->answer = std::move(answer.answer);
        changed_.NotifyAll();
    }
    return {};
}

std::string Link::OnUnknownRequest(int sessionId, uint32_t number)
{
    const MutexLock lock(mutex_);
    const auto session = sessions_.find(sessionId);
    if (session != sessions_.end() && !session->second->isInbound) {
        return "a request on a session for answers";
    }
    (void)SendMessage(sessionId,
                      Encode(NumberedAnswer{number, UnknownAnswer{}}));  // a failure is ignored: the session has ended
    return {};
}

std::string Link::OnRequest(int sessionId, const NumberedRequest& request)
{
    std::string networkId;
    {
        const MutexLock lock(mutex_);
        const auto session = sessions_.find(sessionId);
        if (session == sessions_.end()) {
            return {};
        }
        if (!session->second->isInbound) {
            return "a request on a session for answers";
        }
        networkId = session->second->networkId;
    }
    requests_->Answer(networkId, sessionId, request);
    return {};
}

}  // namespace

std::shared_ptr<PeerLink> PeerLink::Make(Serve serve, Tasks::Timers& timers)
{
    auto link = std::make_shared<Link>(std::move(serve), timers);
    const MutexLock lock(CurrentLink().mutex);
    CurrentLink().link = link;
    return link;
}

}  // namespace Vexo::Host
