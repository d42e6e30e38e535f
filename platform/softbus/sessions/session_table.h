// SessionTable: the session servers and the sessions of one soft bus. Callers of the soft bus and the reactor both use
// it. It also calls the callbacks of session servers. Any thread, unless a function says otherwise. Each class has its
// own lock. No callback runs with a lock held.
#pragma once

#include <sys/types.h>

#include <asio/io_context.hpp>
#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"
#include "platform/softbus/link/link.h"
#include "platform/softbus/softbus_types.h"
#include "platform/tasks/elastic_pool.h"

namespace Vexo::SoftBus {

// A session stops reading from its link while more than this many received bytes wait for its callbacks.
inline constexpr size_t MAX_UNDELIVERED_BYTES = 8 * 1024 * 1024;
inline constexpr size_t MAX_SESSION_SERVERS = 64;

// A session server: the name of its package, and its listener. The listener can be replaced while sessions are open.
class SessionServer : public NoCopyable {
public:
    SessionServer(std::string pkgName, const ISessionListener& listener)
        : pkgName_(std::move(pkgName)), listener_(listener)
    {
    }

    const std::string& PkgName() const { return pkgName_; }
    ISessionListener Listener() const EXCLUDES(mutex_);
    void Replace(const ISessionListener& listener) EXCLUDES(mutex_);

private:
    const std::string pkgName_;
    mutable Mutex mutex_;
    ISessionListener listener_ GUARDED_BY(mutex_);
};

// The parameters of a session. They come from a call of OpenSession, or from the OPEN frame of a peer.
struct SessionRequest {
    bool outbound = false;
    std::string serverName;      // the session server of this side
    std::string peerServerName;  // the session server of the other side
    std::string peerNetworkId;
    int32_t dataType = 0;
    std::vector<int32_t> linkTypes;
};

class SessionTable;

class Session : public std::enable_shared_from_this<Session>, public NoCopyable {
public:
    Session(int id, SessionRequest request, std::shared_ptr<asio::io_context> reactor)
        : id_(id), request_(std::move(request)), reactor_(std::move(reactor))
    {
    }

    int Id() const { return id_; }
    const SessionRequest& Request() const { return request_; }

    // SetServer and SetOpen are called on the reactor thread. First SetServer sets the session server whose listener
    // gets the callbacks. Later SetOpen sets the link that carries the session's data.
    void SetServer(std::shared_ptr<SessionServer> server) { server_ = std::move(server); }
    void SetOpen(const std::shared_ptr<Link>& link) EXCLUDES(mutex_);
    // Returns null before SetOpen and after SetClosed.
    std::shared_ptr<Link> OpenLink() const EXCLUDES(mutex_);
    void SetClosed() EXCLUDES(mutex_);
    // Call when this side closes the session. From now on no callback for received data is started. After
    // SessionTable::Remove, no callback for the close is started either.
    void StopCallbacks() { callbacksStopped_ = true; }

    // Call at the end of OpenSession, on the caller's thread.
    void SetReturned();
    // Returns the time at which OpenSession returned. Returns time_point::max() while OpenSession still runs.
    // OnSessionOpened must not be called before this time.
    std::chrono::steady_clock::time_point ReturnedAt() const { return returnedAt_.load(); }
    // Returns whether the thread that called OpenSession is running or waits for a processor.
    bool IsCallerRunnable() const;

    // For traces. AwaitAnswer: the wait for the other side's answer begins. AnswerCame: the wait ends, because the
    // answer has arrived or cannot arrive any more.
    void AwaitAnswer();
    void AnswerCame();

    // Post callbacks to the strand of the session. While more than MAX_UNDELIVERED_BYTES wait, DeliverBytes pauses
    // reading from the link.
    void DeliverOpened(int result);
    void DeliverBytes(std::string payload, const std::shared_ptr<Link>& link);
    void DeliverClosed(std::shared_ptr<SessionTable> table);
    // Returns false while more than MAX_UNDELIVERED_BYTES wait: reading from the link must not resume then.
    bool HasRoom() const { return undelivered_ <= MAX_UNDELIVERED_BYTES; }

private:
    void CallBytes(const ISessionListener& listener, const std::string& payload) const;
    void Post(Tasks::Work work);

    const int id_;
    const SessionRequest request_;
    const std::shared_ptr<asio::io_context> reactor_;
    std::shared_ptr<SessionServer> server_;  // set before the first callback, then constant
    std::atomic<bool> callbacksStopped_{false};
    std::atomic<bool> awaitsAnswer_{false};
    std::atomic<size_t> undelivered_{0};
    std::atomic<pid_t> callerThread_{0};  // set before returnedAt_
    std::atomic<std::chrono::steady_clock::time_point> returnedAt_{std::chrono::steady_clock::time_point::max()};
    mutable Mutex mutex_;
    std::shared_ptr<Link> link_ GUARDED_BY(mutex_);
    Tasks::Strand strand_;
};

using SessionPtr = std::shared_ptr<Session>;

class SessionTable : public NoCopyable {
public:
    SessionTable(size_t maxSessions, std::shared_ptr<asio::io_context> reactor)
        : maxSessions_(maxSessions), reactor_(std::move(reactor))
    {
    }

    // Return the SoftBusResult for CreateSessionServer and RemoveSessionServer.
    int AddServer(const std::string& pkgName, const std::string& name, const ISessionListener& listener)
        EXCLUDES(mutex_);
    int RemoveServer(const std::string& pkgName, const std::string& name) EXCLUDES(mutex_);
    // Returns null if there is no session server with this name.
    std::shared_ptr<SessionServer> FindServer(const std::string& name) const EXCLUDES(mutex_);
    size_t ServerCount() const EXCLUDES(mutex_);

    // Creates a session with a new id. Returns null if there are maxSessions sessions already.
    SessionPtr Add(SessionRequest request) EXCLUDES(mutex_);
    SessionPtr Find(int id) const EXCLUDES(mutex_);
    // Removes the session and returns it. Returns null if the table has no session with that id. Only the caller that
    // gets the session may close it and report its end.
    SessionPtr Remove(int id) EXCLUDES(mutex_);
    // Returns the number of sessions that the peer has opened.
    size_t InboundCount(const std::string& peerNetworkId) const EXCLUDES(mutex_);
    // Returns the sessions that use this side's session server serverName. If serverName is empty, returns all
    // sessions.
    std::vector<SessionPtr> List(const std::string& serverName = {}) const EXCLUDES(mutex_);

private:
    const size_t maxSessions_;
    const std::shared_ptr<asio::io_context> reactor_;
    mutable Mutex mutex_;
    std::map<std::string, std::shared_ptr<SessionServer>> servers_ GUARDED_BY(mutex_);
    std::map<int, SessionPtr> sessions_ GUARDED_BY(mutex_);
    int lastId_ GUARDED_BY(mutex_) = 0;
};

}  // namespace Vexo::SoftBus
