// Bus: the only access of this program to D-Bus. It owns a connection and the thread that does all reads and writes of
// the connection. After the bus restarts, it connects again and restores subscriptions and exported objects. A call
// blocks the calling thread, at most for the limit of the call. Handlers run on the strand that the subscriber passed,
// in the order of arrival. They never run inside a call, and no lock is held. No function throws an sdbus-c++
// exception. If a call fails with a D-Bus error, Error::code is derived from the name of the D-Bus error
// (sd-bus-errors(3)), and Error::message begins with that name and a colon. If a reply has another type than expected,
// the error is ErrorCode::MALFORMED without such a name. Any thread may use a Bus.
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

// The default time limit of one D-Bus call.
inline constexpr std::chrono::milliseconds BUS_CALL_LIMIT{5000};

// Names one interface of one object of a D-Bus service, for a call or a subscription. In a subscription, an empty path
// means every object.
struct BusObject {
    std::string service;    // such as "org.freedesktop.NetworkManager"
    std::string path;       // such as "/org/freedesktop/NetworkManager"
    std::string interface;  // such as "org.freedesktop.NetworkManager.Device"
};

// Returns the variant's value. Returns fallback if the variant is empty or contains another type.
template <typename T>
T ValueOf(const sdbus::Variant& variant, T fallback = T())
{
    return !variant.isEmpty() && variant.containsValueOfType<T>() ? variant.get<T>() : fallback;
}

// Returns the value of the given key. Returns fallback if the key is missing or its value has another type.
template <typename T>
T ValueIn(const PropertyMap& properties, const std::string& key, T fallback = T())
{
    const auto found = properties.find(key);
    return found == properties.end() ? fallback : ValueOf<T>(found->second, std::move(fallback));
}

// An object that this program exports. Some services, such as BlueZ, read a request from an object of their client.
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
    // The methods by name. They have no arguments. The reply to a call does not wait for the method.
    std::map<std::string, std::function<void()>> methods;
};

// The handle of a subscription or of an exported object. Destroying the handle ends the subscription or the export. The
// destructor and End block until all work that is queued on the handler's strand has run, unless they are called on
// this strand. So a caller that holds a lock which the work acquires may deadlock. After the destructor or End has
// returned, no handler starts. A default-constructed handle is empty.
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
    // Connects to a bus and blocks for the first attempt. If this attempt fails, the failure is logged and the Bus
    // retries in the background. address: the bus address, in the format of DBUS_SYSTEM_BUS_ADDRESS; empty: the system
    // bus. clock: measures the pauses between retries. Throws nothing; never returns null.
    static std::shared_ptr<Bus> Open(const std::string& address = "", const Clock& clock = Clock::System());
    // Fails the pending calls and joins the thread. Subscriptions may outlive the Bus.
    ~Bus();

    bool IsConnected() const;

    // Calls a method and blocks for the reply, at most for the time limit. Handlers may use Call too. Arguments must
    // have D-Bus types (std::string, never a char pointer). Reply: the type of the returned value. Use a std::tuple if
    // the method returns several values, and void if it returns none.
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

    // Calls the handler for each signal with the given name. path: the object that sent the signal. A signal whose
    // arguments have other types is logged and dropped. The strand must outlive the subscription.
    template <typename... Arguments>
    [[nodiscard]] BusSubscription OnSignal(
        Tasks::Strand& strand, const BusObject& object, const std::string& signal,
        std::type_identity_t<std::function<void(const std::string& path, const Arguments&...)>> handler);

    // Calls the handler when properties of the given interface have changed. changed: these properties and their new
    // values. The strand must outlive the subscription.
    [[nodiscard]] BusSubscription OnPropertiesChanged(
        Tasks::Strand& strand, const BusObject& object,
        std::function<void(const std::string& path, const PropertyMap& changed)> handler);

    // Calls the handler once soon after subscribing, and then at each change. isPresent: whether the service owns its
    // bus name; false also while the bus is disconnected. If another process takes over the name, the handler is called
    // with false and then with true. When the handler is called with true, subscriptions that were made before this one
    // already receive signals again.
    [[nodiscard]] BusSubscription OnService(Tasks::Strand& strand, const std::string& service,
                                            std::function<void(bool isPresent)> handler);

    // Exports an object until the subscription ends. Other programs on the bus can then read the object's properties
    // (org.freedesktop.DBus.Properties) and call its methods. The method handlers run on the strand, which must outlive
    // the subscription. If this Bus calls a service afterwards, that service can already read the object.
    [[nodiscard]] BusSubscription Export(Tasks::Strand& strand, OwnObject object);

    // Broadcasts a signal of the given object on the bus. Does not block. The signal is lost while the bus is
    // disconnected. object.service is ignored, because this program itself is the sender.
    template <typename... Arguments>
    void Emit(const BusObject& object, const std::string& signal, const Arguments&... arguments);

private:
    class Loop;
    using Write = std::function<void(sdbus::Message&)>;
    using Read = std::function<void(sdbus::Message&)>;
    // Returns the work that calls the handler with a signal's arguments; null if the signal is not for this handler.
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
    // The arguments are copied and the reply is shared, because the call may continue after its caller has stopped
    // waiting.
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
