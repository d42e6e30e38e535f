// Bus: the only access to D-Bus. It owns a connection and a thread that does all its reads and writes. After a restart
// of the bus it connects again and restores subscriptions and exported objects. Calls block the calling thread, at most
// for their limit. Handlers of signals and names run on the strand that the subscriber gave, in the order of the bus,
// never inside a call and under no lock. No exception of the library leaves it: a failure's code follows the D-Bus
// error's name (sd-bus-errors(3)), and its message begins with that name and a colon. Any thread may use it.
#pragma once

#include <sdbus-c++/Message.h>
#include <sdbus-c++/TypeTraits.h>
#include <sdbus-c++/Types.h>

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "backends/linux/bus_error.h"
#include "platform/base/clock.h"
#include "platform/base/nocopyable.h"
#include "platform/base/result.h"
#include "platform/tasks/elastic_pool.h"

namespace Vexo::Linux {

using PropertyMap = std::map<std::string, sdbus::Variant>;  // a{sv}

// The default limit of a call.
inline constexpr std::chrono::milliseconds BUS_CALL_LIMIT{5000};

// One interface of one object of a service, as calls and subscriptions name it.
struct BusObject {
    std::string service;    // "org.freedesktop.NetworkManager"
    std::string path;       // "/org/freedesktop/NetworkManager"; empty in a subscription: of every object
    std::string interface;  // "org.freedesktop.NetworkManager.Device"
};

// A variant's value, or the fallback when it holds another type.
template <typename T>
T ValueOf(const sdbus::Variant& variant, T fallback = T())
{
    return !variant.isEmpty() && variant.containsValueOfType<T>() ? variant.get<T>() : fallback;
}

// As ValueOf, for a key that may be missing.
template <typename T>
T ValueIn(const PropertyMap& properties, const std::string& key, T fallback = T())
{
    const auto found = properties.find(key);
    return found == properties.end() ? fallback : ValueOf<T>(found->second, std::move(fallback));
}

// An object that this program exports, for services that read a request from an object of their client (BlueZ).
struct OwnObject {
    // Read-only.
    struct Property {
        template <typename T>
        Property(std::string propertyName, const T& value)
            : name(std::move(propertyName)),
              signature(sdbus::signature_of<T>::str()),
              write([value](sdbus::Message& message) { message << value; })
        {
        }

        std::string name;
        std::string signature;
        std::function<void(sdbus::Message&)> write;
    };

    std::string path;
    std::string interface;
    std::vector<Property> properties;
    std::map<std::string, std::function<void()>> methods;  // without arguments; the caller is answered at once
};

// A subscription or an exported object, which ends with it. The destructor and End block until a handler that runs on
// another thread has returned, so do not call them under a lock that the handler takes. No handler starts afterwards.
// Empty when default-constructed.
class BusSubscription {
public:
    BusSubscription() = default;
    explicit BusSubscription(std::function<void()> end) : end_(std::move(end)) {}
    BusSubscription(BusSubscription&& other) noexcept : end_(std::exchange(other.end_, nullptr)) {}
    BusSubscription& operator=(BusSubscription&& other) noexcept
    {
        if (this != &other) {
            End();
            end_ = std::exchange(other.end_, nullptr);
        }
        return *this;
    }
    ~BusSubscription() { End(); }

    void End()
    {
        if (const auto end = std::exchange(end_, nullptr)) {
            end();
        }
    }

private:
    std::function<void()> end_;
};

class Bus : public NoCopyable {
public:
    // Blocks for the first attempt to connect. A failure is logged and retried. address: as in DBUS_SYSTEM_BUS_ADDRESS;
    // empty: the system bus. clock: for the pauses between retries. Throws nothing; never returns null.
    static std::shared_ptr<Bus> Open(const std::string& address = "", const Clock& clock = Clock::System());
    // Fails calls that wait; returns when its thread has ended. Subscriptions may outlive it.
    ~Bus();

    bool IsConnected() const;

    // Calls a method and blocks for its answer. A handler may call it too. Arguments are D-Bus types (std::string,
    // never a char pointer). Reply: the type of the one value that is returned, a std::tuple of several, or void.
    template <typename Reply = void, typename... Arguments>
    [[nodiscard]] Result<Reply> Call(const BusObject& object, const std::string& method,
                                     std::chrono::milliseconds limit, const Arguments&... arguments);

    template <typename T>
    [[nodiscard]] Result<T> GetProperty(const BusObject& object, const std::string& name,
                                        std::chrono::milliseconds limit = BUS_CALL_LIMIT);
    [[nodiscard]] Result<PropertyMap> GetProperties(const BusObject& object,
                                                    std::chrono::milliseconds limit = BUS_CALL_LIMIT);
    [[nodiscard]] Result<void> SetProperty(const BusObject& object, const std::string& name,
                                           const sdbus::Variant& value,
                                           std::chrono::milliseconds limit = BUS_CALL_LIMIT);

    // The handler gets each signal of that name: the path of its object, and its arguments. A signal whose arguments
    // have other types is logged and dropped. The strand must outlive the subscription.
    template <typename... Arguments>
    [[nodiscard]] BusSubscription OnSignal(
        Tasks::Strand& strand, const BusObject& object, const std::string& signal,
        std::type_identity_t<std::function<void(const std::string& path, const Arguments&...)>> handler);

    // The handler gets the properties of that interface that changed, with their new values.
    [[nodiscard]] BusSubscription OnPropertiesChanged(
        Tasks::Strand& strand, const BusObject& object,
        std::function<void(const std::string& path, const PropertyMap& changed)> handler);

    // Calls the handler with whether the service runs: soon after subscribing, and at each change. For a service that
    // was replaced it is called with false, then with true. Without a bus, no service runs. When it is called with
    // true, signals subscribed before arrive again.
    [[nodiscard]] BusSubscription OnService(Tasks::Strand& strand, const std::string& service,
                                            std::function<void(bool isThere)> handler);

    // Until the subscription ends, others on the bus may read the object's properties (org.freedesktop.DBus.Properties)
    // and call its methods, which run on the strand. A service that this program calls later can already read it. The
    // strand must outlive the subscription.
    [[nodiscard]] BusSubscription Export(Tasks::Strand& strand, OwnObject object);

    // Sends a signal of that object to everyone on the bus. Does not block; without a bus, it is lost. object.service
    // is not used: the signal comes from this program.
    template <typename... Arguments>
    void Emit(const BusObject& object, const std::string& signal, const Arguments&... arguments);

private:
    class Loop;
    using Write = std::function<void(sdbus::Message&)>;
    using Read = std::function<void(sdbus::Message&)>;
    // Reads a signal's arguments and returns the work that calls the handler; null: the signal does not concern it.
    using Unpack = std::function<Tasks::Work(sdbus::Message&)>;

    explicit Bus(std::shared_ptr<Loop> loop) : loop_(std::move(loop)) {}

    [[nodiscard]] Result<void> Exchange(const BusObject& object, const std::string& method,
                                        std::chrono::milliseconds limit, Write write, Read read);
    void EmitPacked(const BusObject& object, const std::string& signal, Write write);
    BusSubscription Listen(Tasks::Strand& strand, const BusObject& object, const std::string& signal, Unpack unpack);

    const std::shared_ptr<Loop> loop_;
};

template <typename Reply, typename... Arguments>
Result<Reply> Bus::Call(const BusObject& object, const std::string& method, std::chrono::milliseconds limit,
                        const Arguments&... arguments)
{
    // Shared: the answer may come after the caller has stopped waiting.
    Write write = [packed = std::tuple<Arguments...>(arguments...)](sdbus::Message& message) { message << packed; };
    if constexpr (std::is_void_v<Reply>) {
        return Exchange(object, method, limit, std::move(write), nullptr);
    } else {
        const auto reply = std::make_shared<Reply>();
        Result<void> exchanged =
            Exchange(object, method, limit, std::move(write), [reply](sdbus::Message& message) { message >> *reply; });
        if (!exchanged) {
            return Failure(std::move(exchanged).error());
        }
        return std::move(*reply);
    }
}

template <typename... Arguments>
void Bus::Emit(const BusObject& object, const std::string& signal, const Arguments&... arguments)
{
    EmitPacked(object, signal,
               [packed = std::tuple<Arguments...>(arguments...)](sdbus::Message& message) { message << packed; });
}

template <typename T>
Result<T> Bus::GetProperty(const BusObject& object, const std::string& name, std::chrono::milliseconds limit)
{
    Result<sdbus::Variant> value = Call<sdbus::Variant>(
        {object.service, object.path, "org.freedesktop.DBus.Properties"}, "Get", limit, object.interface, name);
    if (!value) {
        return Failure(std::move(value).error());
    }
    if (!value.value().template containsValueOfType<T>()) {
        return Fail(ErrorCode::MALFORMED,
                    object.interface + "." + name + " has the type " + value.value().peekValueType());
    }
    return value.value().template get<T>();
}

template <typename... Arguments>
BusSubscription Bus::OnSignal(
    Tasks::Strand& strand, const BusObject& object, const std::string& signal,
    std::type_identity_t<std::function<void(const std::string& path, const Arguments&...)>> handler)
{
    return Listen(strand, object, signal, [handler = std::move(handler)](sdbus::Message& message) -> Tasks::Work {
        std::tuple<Arguments...> arguments;
        message >> arguments;
        return [handler, path = message.getPath(), arguments = std::move(arguments)] {
            std::apply([&](const Arguments&... argument) { handler(path, argument...); }, arguments);
        };
    });
}

}  // namespace Vexo::Linux
