#include "platform/softbus/sessions/session_table.h"

#include <unistd.h>

#include <algorithm>
#include <asio/post.hpp>
#include <limits>

#include "platform/base/clock.h"
#include "platform/base/process_state.h"
#include "platform/dfx/trace.h"
#include "platform/softbus/softbus_log.h"

namespace Vexo::SoftBus {

namespace {

// This number is added to the size of each waiting message, so that the number of small messages is limited too.
constexpr size_t MESSAGE_OVERHEAD_BYTES = 128;

}  // namespace

ISessionListener SessionServer::Listener() const
{
    MutexLock lock(mutex_);
    return listener_;
}

void SessionServer::Replace(const ISessionListener& listener)
{
    MutexLock lock(mutex_);
    listener_ = listener;
}

void Session::SetOpen(const std::shared_ptr<Link>& link)
{
    MutexLock lock(mutex_);
    link_ = link;
}

std::shared_ptr<Link> Session::OpenLink() const
{
    MutexLock lock(mutex_);
    return link_;
}

void Session::SetClosed()
{
    AnswerCame();
    MutexLock lock(mutex_);
    link_.reset();
}

void Session::SetReturned()
{
    callerThread_ = gettid();
    returnedAt_ = Clock::System().Now();
}

bool Session::IsCallerRunnable() const
{
    return IsRunnable(callerThread_);
}

void Session::Post(Tasks::Work work)
{
    if (!strand_.Post(std::move(work))) {
        QuviewDFX::LogError(LOG_SOFTBUS, "session %{public}d: a callback is lost, too much work is waiting", id_);
    }
}

void Session::AwaitAnswer()
{
    if (QuviewDFX::IsTracing() && request_.outbound && !awaitsAnswer_.exchange(true)) {
        StartAsyncTrace(TRACE_TAG_PLATFORM, SpanName::ANSWER, id_);
    }
}

void Session::AnswerCame()
{
    if (awaitsAnswer_.load(std::memory_order_relaxed) && awaitsAnswer_.exchange(false)) {
        FinishAsyncTrace(TRACE_TAG_PLATFORM, SpanName::ANSWER, id_);
    }
}

void Session::DeliverOpened(int result)
{
    Post([self = shared_from_this(), result] {
        FinishAsyncTrace(TRACE_TAG_PLATFORM, SpanName::SESSION_OPEN, self->id_);
        const ISessionListener listener = self->server_->Listener();
        if (listener.OnSessionOpened != nullptr) {
            listener.OnSessionOpened(self->id_, result);
        }
    });
}

void Session::DeliverBytes(std::string payload, const std::shared_ptr<Link>& link)
{
    AnswerCame();
    const size_t cost = payload.size() + MESSAGE_OVERHEAD_BYTES;
    if (undelivered_.fetch_add(cost) + cost > MAX_UNDELIVERED_BYTES) {
        link->PauseReading();
    }
    Post([self = shared_from_this(), payload = std::move(payload), cost, weak = std::weak_ptr(link)] {
        if (!self->callbacksStopped_) {
            self->CallBytes(self->server_->Listener(), payload);
        }
        constexpr size_t RESUME_BYTES = MAX_UNDELIVERED_BYTES / 2;
        const size_t before = self->undelivered_.fetch_sub(cost);
        // Resume on the reactor thread, so that ResumeReading runs after each PauseReading that these bytes have
        // caused.
        if (before > RESUME_BYTES && before - cost <= RESUME_BYTES) {
            asio::post(*self->reactor_, [weak] {
                if (const auto paused = weak.lock()) {
                    paused->ResumeReading();
                }
            });
        }
    });
}

void Session::CallBytes(const ISessionListener& listener, const std::string& payload) const
{
    const auto entry = request_.dataType == TYPE_MESSAGE  ? listener.OnMessageReceived
                       : request_.dataType == TYPE_STREAM ? listener.OnStreamReceived
                                                          : listener.OnBytesReceived;
    if (entry != nullptr) {
        entry(id_, payload.data(), static_cast<unsigned int>(payload.size()));
    }
}

void Session::DeliverClosed(std::shared_ptr<SessionTable> table)
{
    Post([self = shared_from_this(), table = std::move(table)] {
        // This side may have closed the session while this callback was queued. Then the table no longer has the
        // session.
        if (!table->Remove(self->id_)) {
            return;
        }
        const ISessionListener listener = self->server_->Listener();
        if (listener.OnSessionClosed != nullptr) {
            listener.OnSessionClosed(self->id_);
        }
    });
}

int SessionTable::AddServer(const std::string& pkgName, const std::string& name, const ISessionListener& listener)
{
    MutexLock lock(mutex_);
    const auto found = servers_.find(name);
    if (found != servers_.end()) {
        if (found->second->PkgName() != pkgName) {
            return SOFTBUS_INVALID_PARAM;
        }
        found->second->Replace(listener);
        return SOFTBUS_OK;
    }
    if (servers_.size() >= MAX_SESSION_SERVERS) {
        return SOFTBUS_LIMIT;
    }
    servers_.emplace(name, std::make_shared<SessionServer>(pkgName, listener));
    return SOFTBUS_OK;
}

int SessionTable::RemoveServer(const std::string& pkgName, const std::string& name)
{
    MutexLock lock(mutex_);
    const auto found = servers_.find(name);
    if (found == servers_.end() || found->second->PkgName() != pkgName) {
        return SOFTBUS_NO_SUCH_SERVER;
    }
    servers_.erase(found);
    return SOFTBUS_OK;
}

std::shared_ptr<SessionServer> SessionTable::FindServer(const std::string& name) const
{
    MutexLock lock(mutex_);
    const auto found = servers_.find(name);
    return found == servers_.end() ? nullptr : found->second;
}

size_t SessionTable::ServerCount() const
{
    MutexLock lock(mutex_);
    return servers_.size();
}

SessionPtr SessionTable::Add(SessionRequest request)
{
    MutexLock lock(mutex_);
    if (sessions_.size() >= maxSessions_) {
        return nullptr;
    }
    // Ids count up, and ids in use are skipped. So the id of a closed session, which a caller may still have, is not
    // used again soon.
    do {
        lastId_ = lastId_ == std::numeric_limits<int>::max() ? 1 : lastId_ + 1;
    } while (sessions_.count(lastId_) != 0);
    auto session = std::make_shared<Session>(lastId_, std::move(request), reactor_);
    sessions_.emplace(lastId_, session);
    return session;
}

SessionPtr SessionTable::Find(int id) const
{
    MutexLock lock(mutex_);
    const auto found = sessions_.find(id);
    return found == sessions_.end() ? nullptr : found->second;
}

SessionPtr SessionTable::Remove(int id)
{
    MutexLock lock(mutex_);
    const auto found = sessions_.find(id);
    if (found == sessions_.end()) {
        return nullptr;
    }
    SessionPtr session = std::move(found->second);
    sessions_.erase(found);
    return session;
}

size_t SessionTable::InboundCount(const std::string& peerNetworkId) const
{
    MutexLock lock(mutex_);
    return static_cast<size_t>(std::count_if(sessions_.begin(), sessions_.end(), [&](const auto& entry) {
        const SessionRequest& request = entry.second->Request();
        return !request.outbound && request.peerNetworkId == peerNetworkId;
    }));
}

std::vector<SessionPtr> SessionTable::List(const std::string& serverName) const
{
    MutexLock lock(mutex_);
    std::vector<SessionPtr> sessions;
    for (const auto& [id, session] : sessions_) {
        if (serverName.empty() || session->Request().serverName == serverName) {
            sessions.push_back(session);
        }
    }
    return sessions;
}

}  // namespace Vexo::SoftBus
