// Bus::Loop: the connection of a Bus, and the thread that does all reads and writes of the connection. After the bus
// restarts, the loop connects again and attaches every listener to the new connection. The Bus starts and stops the
// loop. Any thread may call Post, Subscribe and IsConnected, which do not block. Only bus.cpp and bus_loop.cpp include
// this header; others include bus.h.
#pragma once

#include <sdbus-c++/sdbus-c++.h>
#include <sys/eventfd.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "backends/linux/bus.h"
#include "platform/base/check.h"
#include "platform/base/clock.h"
#include "platform/base/mutex.h"
#include "platform/base/nocopyable.h"
#include "platform/base/unique_fd.h"

namespace Vexo::Linux {

// A D-Bus call in progress. The loop's thread completes the call. The caller may have stopped waiting by then.
struct PendingCall {
    BusObject object;
    std::string method;
    std::chrono::microseconds limit{0};
    std::function<void(sdbus::Message&)> write;
    std::function<void(sdbus::Message&)> read;     // may be empty
    std::function<void(Result<void>)> onFinished;  // called once, on the loop's thread
    // The proxy is destroyed on the loop's thread, after the library's callback has returned and before the connection
    // is destroyed. The PendingCall may live longer, because the caller shares it.
    std::unique_ptr<sdbus::IProxy> proxy;
};

// A subscription or an exported object. It stays valid when the bus connection is replaced. Used on the loop's thread
// only.
struct BusListener {
    std::string match;  // the D-Bus match rule, or the path of an exported object
    std::function<void(sdbus::Message&)> onMessage;
    std::function<void()> onConnected;     // may be empty
    std::function<void()> onDisconnected;  // may be empty; Add calls it if there is no connection
    // Creates the exported object on a connection. Empty for subscriptions. Exported objects have no onMessage.
    std::function<std::unique_ptr<sdbus::IObject>(sdbus::IConnection&)> makeObject;
    // The members slot and object are destroyed on the loop's thread, before the connection is destroyed. The
    // BusListener may live longer, because its BusSubscription shares it.
    sdbus::Slot slot;
    std::unique_ptr<sdbus::IObject> object;

    void Detach()
    {
        slot.reset();
        object.reset();
    }
};

// Posts the handlers of one subscription to the subscriber's strand until End is called.
class HandlerTarget {
public:
    explicit HandlerTarget(Tasks::Strand& strand) : strand_(strand) {}

    static void Post(const std::shared_ptr<HandlerTarget>& self, Tasks::Work work)
    {
        MutexLock lock(self->mutex_);
        if (self->active_) {
            self->strand_.Post([self, work = std::move(work)] {
                if (self->IsActive()) {
                    work();
                }
            });
        }
    }
    void End()
    {
        {
            MutexLock lock(mutex_);
            active_ = false;
        }
        if (!strand_.RunsOnThisThread()) {
            strand_.Drain();
        }
    }

private:
    bool IsActive()
    {
        MutexLock lock(mutex_);
        return active_;
    }

    Mutex mutex_;
    bool active_ GUARDED_BY(mutex_) = true;
    Tasks::Strand& strand_;
};

// The connection of a Bus and the thread of that connection. After Start, only this thread uses connection_ and the
// members declared below it.
class Bus::Loop : public std::enable_shared_from_this<Loop>, public NoCopyable {
public:
    Loop(std::string address, const Clock& clock) : address_(std::move(address)), clock_(clock) {}

    void Start()
    {
        Connect();
        thread_ = std::thread([this] { Run(); });
    }

    void Stop()
    {
        {
            MutexLock lock(mutex_);
            stopped_ = true;
        }
        Wake();
        thread_.join();
    }

    // Queues work for the loop's thread. Returns false if the loop has stopped.
    bool Post(Tasks::Work work)
    {
        {
            MutexLock lock(mutex_);
            if (stopped_) {
                return false;
            }
            work_.push_back(std::move(work));
        }
        Wake();
        return true;
    }

    bool IsConnected() const { return isConnected_; }

    BusSubscription Subscribe(const std::shared_ptr<BusListener>& listener,
                              const std::shared_ptr<HandlerTarget>& target)
    {
        Post([this, listener] { Add(listener); });
        return BusSubscription([self = shared_from_this(), listener, target] {
            self->Post([loop = self.get(), listener] { loop->Remove(listener); });
            target->End();
        });
    }

    // The following functions run on the loop's thread only.
    void Send(const std::shared_ptr<PendingCall>& call);
    void Emit(const BusObject& object, const std::string& signal, const std::function<void(sdbus::Message&)>& write);

private:
    void Add(const std::shared_ptr<BusListener>& listener);
    void Remove(const std::shared_ptr<BusListener>& listener)
    {
        DISTNET_ASSERT(IsOnLoop(), "used on the loop's thread only");
        listener->Detach();
        listeners_.remove(listener);
    }
    static void Release(std::list<std::shared_ptr<PendingCall>>& calls)
    {
        for (const std::shared_ptr<PendingCall>& call : calls) {
            call->proxy.reset();
        }
        calls.clear();
    }
    void Run();
    void RunWork();
    void Connect();
    void Disconnect(const char* cause);
    void Attach(BusListener& listener);
    void Poll();
    bool IsOnLoop() const { return runsOn_ == std::this_thread::get_id(); }
    void Wake() const { ::eventfd_write(wakeUp_.Get(), 1); }
    std::string Name() const { return address_.empty() ? "the system bus" : "the bus at " + address_; }

    const std::string address_;
    const Clock& clock_;
    const UniqueFd wakeUp_{::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
    std::thread thread_;
    std::thread::id runsOn_;  // the id of thread_; that thread sets it
    std::atomic<bool> isConnected_{false};

    Mutex mutex_;
    bool stopped_ GUARDED_BY(mutex_) = false;
    std::vector<Tasks::Work> work_ GUARDED_BY(mutex_);

    // connection_ is declared before the lists, so it is destroyed after them: their slots and proxies use the
    // connection.
    std::unique_ptr<sdbus::IConnection> connection_;
    std::list<std::shared_ptr<BusListener>> listeners_;
    std::list<std::shared_ptr<PendingCall>> calls_;
    std::list<std::shared_ptr<PendingCall>> finished_;  // kept until the library's callbacks have returned
    SteadyTime nextAttempt_;
    std::chrono::milliseconds retry_{0};
};

}  // namespace Vexo::Linux
