// Bus: the only access to D-Bus. It owns a connection and a thread that does all its reads and writes. After a restart
// of the bus it connects again and restores subscriptions and exported objects. Calls block the calling thread, at most
// for their limit. Handlers of signals and names run on the strand that the subscriber passed, in the order of arrival,
// never inside a call and with no lock held. The class throws no sdbus-c++ exceptions: an error's code is derived from
// the name of the D-Bus error (sd-bus-errors(3)), and its message begins with that name and a colon. Any thread may use
// it.
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
    std::string path;       // "/org/freedesktop/NetworkManager"; empty in a subscription: every object
    std::string interface;  // "org.freedesktop.NetworkManager.Device"
};

// Returns the variant's value, or fallback if the variant contains another type.
template <typename T>
T ValueOf(const sdbus::Variant& variant, T fallback = T())
{
    return !variant.isEmpty() && variant.containsValueOfType<T>() ? variant.get<T>() : fallback;
}

// Returns the value of that key as ValueOf does, or fallback if the key is missing.
template <typename T>
T ValueIn(const PropertyMap& properties, const std::string& key, T fallback = T())
{
    const auto found = properties.find(key);
    return found == properties.end() ? fallback : ValueOf<T>(found->second, std::move(fallback));
}

// An object that this program exports, for services such as BlueZ that read a request from an object of their client.
struct OwnObject {
    // A read-only property.
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
    std::map<std::string, std::function<void()>> methods;  // no arguments; the reply does not wait for them
};

// The handle of a subscription or an exported object, which ends when the handle is destroyed. The destructor and End
// block until a handler that runs on another thread has returned, so do not call them while holding a lock that the
// handler acquires. No handler starts afterwards. A default-constructed handle is empty.
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
    // Blocks for the first attempt to connect. If it fails, the failure is logged and the connection is retried in the
    // background. address: as in DBUS_SYSTEM_BUS_ADDRESS; empty: the system bus. clock: measures the pauses between
    // retries. Throws nothing; never returns null.
    static std::shared_ptr<Bus> Open(const std::string& address = "", const Clock& clock = Clock::System());
    // Fails the pending calls and joins the thread. Subscriptions may outlive the Bus.
    ~Bus();

    bool IsConnected() const;

    // Calls a method and blocks for the reply, at most for limit. Handlers may use it too. Arguments have D-Bus types
    // (std::string, never a char pointer). Reply: the type of the returned value, a std::tuple if the method returns
    // several values, or void.
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

    // Calls handler for each signal of that name, with the path of the sending object and the signal's arguments. A
    // signal whose arguments have other types is logged and dropped. The strand must outlive the subscription.
    template <typename... Arguments>
    [[nodiscard]] BusSubscription OnSignal(
        Tasks::Strand& strand, const BusObject& object, const std::string& signal,
        std::type_identity_t<std::function<void(const std::string& path, const Arguments&...)>> handler);

    // Calls handler with the properties of that interface that changed, and their new values. The strand must outlive
    // the subscription.
    [[nodiscard]] BusSubscription OnPropertiesChanged(
        Tasks::Strand& strand, const BusObject& object,
        std::function<void(const std::string& path, const PropertyMap& changed)> handler);

    // Calls handler with whether the service has its name on the bus: once soon after subscribing, then at each change.
    // If another process takes over the name, handler is called with false, then with true. While the bus is
    // disconnected, the value is false. When handler is called with true, earlier subscriptions already receive signals
    // again.
    [[nodiscard]] BusSubscription OnService(Tasks::Strand& strand, const std::string& service,
                                            std::function<void(bool isThere)> handler);

    // Until the subscription ends, other programs on the bus can read the object's properties
    // (org.freedesktop.DBus.Properties) and call its methods, whose handlers run on the strand. A service that receives
    // a later call of this Bus can already read the object. The strand must outlive the subscription.
    [[nodiscard]] BusSubscription Export(Tasks::Strand& strand, OwnObject object);

    // Broadcasts a signal of that object on the bus. Does not block. The signal is lost while the bus is disconnected.
    // object.service is ignored: this program is the sender.
    template <typename... Arguments>
    void Emit(const BusObject& object, const std::string& signal, const Arguments&... arguments);

private:
    class Loop;
    using Write = std::function<void(sdbus::Message&)>;
    using Read = std::function<void(sdbus::Message&)>;
    // Reads a signal's arguments and returns the work that calls the handler; null: the handler is not called.
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
    // The arguments are copied and the reply is shared: the call may go on after its caller has stopped waiting.
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
