#include "backends/linux/bus_loop.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <utility>

#include "platform/dfx/log.h"

namespace Vexo::Linux {
namespace {

using std::chrono::milliseconds;

constexpr QuviewDFX::LogLabel LABEL{QuviewDFX::LOG_DOMAIN_PLATFORM, "Bus"};
constexpr milliseconds FIRST_RETRY{100};
constexpr milliseconds LONGEST_RETRY{3000};

}  // namespace

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
        for (const std::shared_ptr<BusListener>& listener : listeners_) {
            Attach(*listener);
        }
    } catch (const sdbus::Error& error) {
        if (isFirstFailure) {
            QuviewDFX::LogWarn(LABEL, "%{public}s does not answer; retrying: %{public}s", Name(), error.what());
        }
        for (const std::shared_ptr<BusListener>& listener : listeners_) {
            listener->Detach();
        }
        connection_.reset();
        return;
    }
    retry_ = milliseconds(0);
    isConnected_ = true;
    QuviewDFX::LogInfo(LABEL, "connected to %{public}s", Name());
    for (const std::shared_ptr<BusListener>& listener : listeners_) {
        if (listener->onConnected) {
            listener->onConnected();
        }
    }
}

void Bus::Loop::Disconnect(const char* cause)
{
    isConnected_ = false;
    if (cause != nullptr) {
        QuviewDFX::LogWarn(LABEL, "lost the connection to %{public}s: %{public}s", Name(), cause);
    }
    Release(finished_);
    std::list<std::shared_ptr<PendingCall>> calls;
    calls.swap(calls_);
    for (const std::shared_ptr<PendingCall>& call : calls) {
        call->onFinished(NoBus("lost the connection to " + Name()));
    }
    Release(calls);
    for (const std::shared_ptr<BusListener>& listener : listeners_) {
        listener->Detach();
        if (listener->onDisconnected) {
            listener->onDisconnected();
        }
    }
    connection_.reset();
    nextAttempt_ = clock_.Now();
}

void Bus::Loop::Attach(BusListener& listener)
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

void Bus::Loop::Add(const std::shared_ptr<BusListener>& listener)
{
    DISTNET_ASSERT(IsOnLoop(), "used on the loop's thread only");
    listeners_.push_back(listener);
    if (connection_) {
        try {
            Attach(*listener);
        } catch (const sdbus::Error& error) {
            QuviewDFX::LogError(LABEL, "cannot subscribe or export (%{public}s): %{public}s", listener->match,
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
        call->onFinished(NoBus("not connected to " + Name()));
        return;
    }
    const auto entry = calls_.insert(calls_.end(), call);
    // The iterator entry is valid as long as the callback exists, because the proxy owns the callback and is destroyed
    // with the entry.
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

void Bus::Loop::Emit(const BusObject& object, const std::string& signal,
                     const std::function<void(sdbus::Message&)>& write)
{
    DISTNET_ASSERT(IsOnLoop(), "used on the loop's thread only");
    if (!connection_) {
        return;
    }
    try {
        const std::unique_ptr<sdbus::IObject> sender = sdbus::createObject(*connection_, object.path);
        sdbus::Signal message = sender->createSignal(object.interface, signal);
        write(message);
        sender->emitSignal(message);
    } catch (const sdbus::Error& error) {
        QuviewDFX::LogWarn(LABEL, "cannot send the signal %{public}s: %{public}s", signal, error.what());
    }
}

}  // namespace Vexo::Linux
