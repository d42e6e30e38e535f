#include "backends/linux/bus.h"

#include <poll.h>
#include <sdbus-c++/sdbus-c++.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <exception>
#include <list>
#include <optional>
#include <thread>
#include <vector>

#include "platform/base/awaited.h"
#include "platform/base/check.h"
#include "platform/base/mutex.h"
#include "platform/base/unique_fd.h"
#include "platform/dfx/log.h"

namespace Vexo::Linux {
namespace {

using std::chrono::milliseconds;

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "Bus"};
constexpr milliseconds FIRST_RETRY{100};
constexpr milliseconds LONGEST_RETRY{3000};
constexpr const char* PROPERTIES_INTERFACE = "org.freedesktop.DBus.Properties";
const BusObject DBUS_DAEMON{"org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus"};

// A call on its way: the caller waits for it, the loop's thread ends it, whichever is first.
struct PendingCall {
    BusObject object;
    std::string method;
    std::chrono::microseconds limit{0};
    std::function<void(sdbus::Message&)> write;
    std::function<void(sdbus::Message&)> read;     // may be empty
    std::function<void(Result<void>)> onFinished;  // on the loop's thread; once
    // Must outlive the library's callback, and go on the loop's thread, before the connection: the caller may hold this
    // call for longer.
    std::unique_ptr<sdbus::IProxy> proxy;
};

// What stays subscribed or exported over reconnections. Used on the loop's thread only.
struct Listener {
    std::string match;  // what it listens to; of an exported object, its path
    std::function<void(sdbus::Message&)> onMessage;
    std::function<void()> onConnected;     // may be empty
    std::function<void()> onDisconnected;  // may be empty; also when there is no bus at the start
    // Only of an exported object, which has no onMessage.
    std::function<std::unique_ptr<sdbus::IObject>(sdbus::IConnection&)> makeObject;
    // These go on the loop's thread, before the connection: a subscription may hold this for longer.
    sdbus::Slot slot;
    std::unique_ptr<sdbus::IObject> object;

    void Detach()
    {
        slot.reset();
        object.reset();
    }
};

// Where handlers run, until the subscription ends.
class Target {
public:
    explicit Target(Tasks::Strand& strand) : strand_(strand) {}

    static void Post(const std::shared_ptr<Target>& self, Tasks::Work work)
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

std::string MatchOf(const BusObject& object, const std::string& signal)
{
    std::string match =
        "type='signal',sender='" + object.service + "',interface='" + object.interface + "',member='" + signal + "'";
    return object.path.empty() ? match : match + ",path='" + object.path + "'";
}

}  // namespace

// The connection and its thread. The members without a lock belong to that thread.
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

    // Runs work on the loop's thread, soon; false when that has ended.
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

    BusSubscription Subscribe(const std::shared_ptr<Listener>& listener, const std::shared_ptr<Target>& target)
    {
        Post([this, listener] { Add(listener); });
        return BusSubscription([self = shared_from_this(), listener, target] {
            self->Post([loop = self.get(), listener] { loop->Remove(listener); });
            target->End();
        });
    }

    // On the loop's thread.
    void Send(const std::shared_ptr<PendingCall>& call);

private:
    void Add(const std::shared_ptr<Listener>& listener);
    void Remove(const std::shared_ptr<Listener>& listener)
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
    void Attach(Listener& listener);
    void Poll();
    bool IsOnLoop() const { return runsOn_ == std::this_thread::get_id(); }
    void Wake() const { ::eventfd_write(wakeUp_.Get(), 1); }
    std::string Name() const { return address_.empty() ? "the system bus" : "the bus at " + address_; }

    const std::string address_;
    const Clock& clock_;
    const UniqueFd wakeUp_{::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
    std::thread thread_;
    std::thread::id runsOn_;  // set by the thread itself
    std::atomic<bool> isConnected_{false};

    Mutex mutex_;
    bool stopped_ GUARDED_BY(mutex_) = false;
    std::vector<Tasks::Work> work_ GUARDED_BY(mutex_);

    // The connection goes last: slots and proxies hold on to it.
    std::unique_ptr<sdbus::IConnection> connection_;
    std::list<std::shared_ptr<Listener>> listeners_;
    std::list<std::shared_ptr<PendingCall>> calls_;
    std::list<std::shared_ptr<PendingCall>> finished_;  // until the library has left their callbacks
    SteadyTime nextAttempt_;
    milliseconds retry_{0};
};

void Bus::Loop::Run()
{
    runsOn_ = std::this_thread::get_id();
    for (;;) {
        RunWork();
        {
            MutexLock lock(mutex_);
            if (stopped_) {
                break;
            }
        }
        if (!connection_ && clock_.Now() >= nextAttempt_) {
            Connect();
        }
        try {
            while (connection_ && connection_->processPendingRequest()) {
            }
            Release(finished_);
            Poll();
        } catch (const sdbus::Error& error) {
            Disconnect(error.what());
        }
    }
    Disconnect(nullptr);
    listeners_.clear();
}

void Bus::Loop::RunWork()
{
    std::vector<Tasks::Work> work;
    {
        MutexLock lock(mutex_);
        work.swap(work_);
    }
    for (const Tasks::Work& one : work) {
        one();
    }
}

void Bus::Loop::Poll()
{
    std::array<pollfd, 2> fds{{{wakeUp_.Get(), POLLIN, 0}, {-1, 0, 0}}};
    int timeout = 0;
    if (connection_) {
        const sdbus::IConnection::PollData wanted = connection_->getEventLoopPollData();
        fds[1] = {wanted.fd, wanted.events, 0};
        timeout = wanted.getPollTimeout();
    } else {
        const auto left = std::chrono::ceil<milliseconds>(nextAttempt_ - clock_.Now());
        timeout = static_cast<int>(std::max(left, milliseconds(0)).count());
    }
    ::poll(fds.data(), fds.size(), timeout);
    eventfd_t ignored = 0;
    ::eventfd_read(wakeUp_.Get(), &ignored);
}

void Bus::Loop::Connect()
{
    const bool isFirstFailure = retry_.count() == 0;
    retry_ = isFirstFailure ? FIRST_RETRY : std::min(retry_ * 2, LONGEST_RETRY);
    nextAttempt_ = clock_.Now() + retry_;
    try {
        connection_ = address_.empty() ? sdbus::createSystemBusConnection()
                                       : sdbus::createSessionBusConnectionWithAddress(address_);
        for (const std::shared_ptr<Listener>& listener : listeners_) {
            Attach(*listener);
        }
    } catch (const sdbus::Error& error) {
        if (isFirstFailure) {
            QuviewDFX::LogWarn(LABEL, "%{public}s does not answer, which is tried again: %{public}s", Name(),
                               error.what());
        }
        for (const std::shared_ptr<Listener>& listener : listeners_) {
            listener->Detach();
        }
        connection_.reset();
        return;
    }
    retry_ = milliseconds(0);
    isConnected_ = true;
    QuviewDFX::LogInfo(LABEL, "connected to %{public}s", Name());
    for (const std::shared_ptr<Listener>& listener : listeners_) {
        if (listener->onConnected) {
            listener->onConnected();
        }
    }
}

void Bus::Loop::Disconnect(const char* cause)
{
    isConnected_ = false;
    if (cause != nullptr) {
        QuviewDFX::LogWarn(LABEL, "%{public}s is gone: %{public}s", Name(), cause);
    }
    Release(finished_);
    std::list<std::shared_ptr<PendingCall>> calls;
    calls.swap(calls_);
    for (const std::shared_ptr<PendingCall>& call : calls) {
        call->onFinished(NoBus(Name() + " is gone"));
    }
    Release(calls);
    for (const std::shared_ptr<Listener>& listener : listeners_) {
        listener->Detach();
        if (listener->onDisconnected) {
            listener->onDisconnected();
        }
    }
    connection_.reset();
    nextAttempt_ = clock_.Now();
}

void Bus::Loop::Attach(Listener& listener)
{
    if (listener.makeObject) {
        listener.object = listener.makeObject(*connection_);
        return;
    }
    listener.slot = connection_->addMatch(
        listener.match, [onMessage = listener.onMessage, match = listener.match](sdbus::Message& message) {
            try {
                onMessage(message);
            } catch (const sdbus::Error& error) {
                QuviewDFX::LogWarn(LABEL, "dropped a signal (%{public}s): %{public}s", match, error.what());
            }
        });
}

void Bus::Loop::Add(const std::shared_ptr<Listener>& listener)
{
    DISTNET_ASSERT(IsOnLoop(), "used on the loop's thread only");
    listeners_.push_back(listener);
    if (connection_) {
        try {
            Attach(*listener);
        } catch (const sdbus::Error& error) {
            QuviewDFX::LogError(LABEL, "cannot listen or export (%{public}s): %{public}s", listener->match,
                                error.what());
        }
    }
    if (const auto& begin = connection_ ? listener->onConnected : listener->onDisconnected) {
        begin();
    }
}

void Bus::Loop::Send(const std::shared_ptr<PendingCall>& call)
{
    DISTNET_ASSERT(IsOnLoop(), "used on the loop's thread only");
    if (!connection_) {
        call->onFinished(NoBus(Name() + " is not there"));
        return;
    }
    const auto entry = calls_.insert(calls_.end(), call);
    // The entry is this call's as long as the callback exists: the proxy ends with it.
    const auto onAnswer = [this, entry](sdbus::MethodReply& reply, const sdbus::Error* error) {
        finished_.splice(finished_.end(), calls_, entry);
        const std::shared_ptr<PendingCall>& answered = *entry;
        Result<void> result;
        try {
            if (error != nullptr) {
                result = FailureOf(*error, error->getMessage());
            } else if (answered->read) {
                answered->read(reply);
            }
        } catch (const sdbus::Error& damaged) {
            result =
                Fail(ErrorCode::MALFORMED, answered->method + " answered with other types: " + damaged.getMessage());
        }
        answered->onFinished(std::move(result));
    };
    try {
        call->proxy = sdbus::createProxy(*connection_, call->object.service, call->object.path);
        sdbus::MethodCall message = call->proxy->createMethodCall(call->object.interface, call->method);
        if (call->write) {
            call->write(message);
        }
        call->proxy->callMethod(message, onAnswer, static_cast<uint64_t>(call->limit.count()));
    } catch (const sdbus::Error& error) {
        calls_.erase(entry);
        call->proxy.reset();
        call->onFinished(FailureOf(error, call->method + ": " + error.getMessage()));
    }
}

std::shared_ptr<Bus> Bus::Open(const std::string& address, const Clock& clock)
{
    // Empty variants share a connection that the first of them makes. Made here, it is there before any thread that
    // uses it: a thread sanitizer cannot see how the library guards it.
    [[maybe_unused]] const sdbus::Variant first;
    auto loop = std::make_shared<Loop>(address, clock);
    loop->Start();
    return std::shared_ptr<Bus>(new Bus(std::move(loop)));
}

Bus::~Bus()
{
    loop_->Stop();
}

bool Bus::IsConnected() const
{
    return loop_->IsConnected();
}

Result<void> Bus::Exchange(const BusObject& object, const std::string& method, milliseconds limit, Write write,
                           Read read)
{
    const auto outcome = std::make_shared<Awaited<Result<void>>>();
    const auto call = std::make_shared<PendingCall>();
    call->object = object;
    call->method = method;
    call->limit = std::max(limit, milliseconds(1));
    call->write = std::move(write);
    call->read = std::move(read);
    call->onFinished = [outcome](Result<void> result) { outcome->Set(std::move(result)); };
    if (!loop_->Post([loop = loop_.get(), call] { loop->Send(call); })) {
        return NoBus("this program has left the bus");
    }
    return outcome->WaitFor(limit).value_or(NoReply(object.service + " did not answer " + method + " in time"));
}

Result<PropertyMap> Bus::GetProperties(const BusObject& object, milliseconds limit)
{
    return Call<PropertyMap>({object.service, object.path, PROPERTIES_INTERFACE}, "GetAll", limit, object.interface);
}

Result<void> Bus::SetProperty(const BusObject& object, const std::string& name, const sdbus::Variant& value,
                              milliseconds limit)
{
    return Call({object.service, object.path, PROPERTIES_INTERFACE}, "Set", limit, object.interface, name, value);
}

BusSubscription Bus::Listen(Tasks::Strand& strand, const BusObject& object, const std::string& signal, Unpack unpack)
{
    const auto target = std::make_shared<Target>(strand);
    const auto listener = std::make_shared<Listener>();
    listener->match = MatchOf(object, signal);
    listener->onMessage = [target, unpack = std::move(unpack)](sdbus::Message& message) {
        if (Tasks::Work work = unpack(message)) {
            Target::Post(target, std::move(work));
        }
    };
    return loop_->Subscribe(listener, target);
}

BusSubscription Bus::Export(Tasks::Strand& strand, OwnObject object)
{
    const auto target = std::make_shared<Target>(strand);
    const auto listener = std::make_shared<Listener>();
    listener->match = object.path;
    listener->makeObject = [target, object = std::move(object)](sdbus::IConnection& connection) {
        auto made = sdbus::createObject(connection, object.path);
        for (const OwnObject::Property& property : object.properties) {
            made->registerProperty(object.interface, property.name, property.signature, property.write);
        }
        for (const auto& method : object.methods) {
            made->registerMethod(object.interface, method.first, "", "", [target, method](sdbus::MethodCall call) {
                Target::Post(target, method.second);
                call.createReply().send();
            });
        }
        made->finishRegistration();
        return made;
    };
    return loop_->Subscribe(listener, target);
}

BusSubscription Bus::OnPropertiesChanged(
    Tasks::Strand& strand, const BusObject& object,
    std::function<void(const std::string& path, const PropertyMap& changed)> handler)
{
    return Listen(strand, {object.service, object.path, PROPERTIES_INTERFACE}, "PropertiesChanged",
                  [interface = object.interface, handler = std::move(handler)](sdbus::Message& message) -> Tasks::Work {
                      std::string of;
                      PropertyMap changed;
                      message >> of;
                      if (of != interface) {
                          return nullptr;
                      }
                      message >> changed;
                      return [handler, path = message.getPath(), changed] { handler(path, changed); };
                  });
}

BusSubscription Bus::OnService(Tasks::Strand& strand, const std::string& service,
                               std::function<void(bool isThere)> handler)
{
    const auto target = std::make_shared<Target>(strand);
    // What was told last; on the loop's thread only.
    const auto told = std::make_shared<std::optional<bool>>();
    const auto tell = [target, told, handler = std::move(handler)](bool isThere) {
        if (*told != isThere) {
            *told = isThere;
            Target::Post(target, [handler, isThere] { handler(isThere); });
        }
    };
    const auto listener = std::make_shared<Listener>();
    listener->match = MatchOf(DBUS_DAEMON, "NameOwnerChanged") + ",arg0='" + service + "'";
    listener->onMessage = [tell](sdbus::Message& message) {
        std::tuple<std::string, std::string, std::string> nameOldNew;
        message >> nameOldNew;
        if (!std::get<1>(nameOldNew).empty()) {
            tell(false);
        }
        if (!std::get<2>(nameOldNew).empty()) {
            tell(true);
        }
    };
    listener->onDisconnected = [tell] { tell(false); };
    listener->onConnected = [loop = loop_.get(), service, tell] {
        const auto call = std::make_shared<PendingCall>();
        call->object = DBUS_DAEMON;
        call->method = "NameHasOwner";
        call->limit = BUS_CALL_LIMIT;
        call->write = [service](sdbus::Message& message) { message << service; };
        const auto isThere = std::make_shared<bool>(false);
        call->read = [isThere](sdbus::Message& message) { message >> *isThere; };
        call->onFinished = [tell, isThere](const Result<void>& result) { tell(result.has_value() && *isThere); };
        loop->Send(call);
    };
    return loop_->Subscribe(listener, target);
}

}  // namespace Vexo::Linux
