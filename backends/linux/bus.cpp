#include "backends/linux/bus.h"

#include <algorithm>
#include <optional>

#include "backends/linux/bus_loop.h"
#include "platform/base/awaited.h"

namespace Vexo::Linux {
namespace {

using std::chrono::milliseconds;

constexpr const char* PROPERTIES_INTERFACE = "org.freedesktop.DBus.Properties";
const BusObject DBUS_DAEMON{"org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus"};

std::string MatchOf(const BusObject& object, const std::string& signal)
{
    std::string match =
        "type='signal',sender='" + object.service + "',interface='" + object.interface + "',member='" + signal + "'";
    return object.path.empty() ? match : match + ",path='" + object.path + "'";
}

}  // namespace

std::shared_ptr<Bus> Bus::Open(const std::string& address, const Clock& clock)
{
    // All empty objects of sdbus::Variant share one internal connection, which the first of them creates. The first
    // object is created here, before any thread uses the connection, because a thread sanitizer cannot see how the
    // library guards the connection.
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

void Bus::EmitPacked(const BusObject& object, const std::string& signal, Write write)
{
    loop_->Post([loop = loop_.get(), object, signal, write = std::move(write)] { loop->Emit(object, signal, write); });
}

BusSubscription Bus::Listen(Tasks::Strand& strand, const BusObject& object, const std::string& signal, Unpack unpack)
{
    const auto target = std::make_shared<HandlerTarget>(strand);
    const auto listener = std::make_shared<BusListener>();
    listener->match = MatchOf(object, signal);
    listener->onMessage = [target, unpack = std::move(unpack)](sdbus::Message& message) {
        if (Tasks::Work work = unpack(message)) {
            HandlerTarget::Post(target, std::move(work));
        }
    };
    return loop_->Subscribe(listener, target);
}

BusSubscription Bus::Export(Tasks::Strand& strand, OwnObject object)
{
    const auto target = std::make_shared<HandlerTarget>(strand);
    const auto listener = std::make_shared<BusListener>();
    listener->match = object.path;
    listener->makeObject = [target, object = std::move(object)](sdbus::IConnection& connection) {
        auto made = sdbus::createObject(connection, object.path);
        for (const OwnObject::Property& property : object.properties) {
            made->registerProperty(object.interface, property.name, property.signature, property.write);
        }
        for (const auto& method : object.methods) {
            made->registerMethod(object.interface, method.first, "", "",
                                 [target, method](const sdbus::MethodCall& call) {
                                     HandlerTarget::Post(target, method.second);
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
                               std::function<void(bool isPresent)> handler)
{
    const auto target = std::make_shared<HandlerTarget>(strand);
    // The last value that the handler got. Used on the loop's thread only.
    const auto reported = std::make_shared<std::optional<bool>>();
    const auto report = [target, reported, handler = std::move(handler)](bool isPresent) {
        if (*reported != isPresent) {
            *reported = isPresent;
            HandlerTarget::Post(target, [handler, isPresent] { handler(isPresent); });
        }
    };
    const auto listener = std::make_shared<BusListener>();
    listener->match = MatchOf(DBUS_DAEMON, "NameOwnerChanged") + ",arg0='" + service + "'";
    listener->onMessage = [report](sdbus::Message& message) {
        std::tuple<std::string, std::string, std::string> nameOldNew;
        message >> nameOldNew;
        if (!std::get<1>(nameOldNew).empty()) {
            report(false);
        }
        if (!std::get<2>(nameOldNew).empty()) {
            report(true);
        }
    };
    listener->onDisconnected = [report] { report(false); };
    listener->onConnected = [loop = loop_.get(), service, report] {
        const auto call = std::make_shared<PendingCall>();
        call->object = DBUS_DAEMON;
        call->method = "NameHasOwner";
        call->limit = BUS_CALL_LIMIT;
        call->write = [service](sdbus::Message& message) { message << service; };
        const auto isPresent = std::make_shared<bool>(false);
        call->read = [isPresent](sdbus::Message& message) { message >> *isPresent; };
        call->onFinished = [report, isPresent](const Result<void>& result) {
            report(result.has_value() && *isPresent);
        };
        loop->Send(call);
    };
    return loop_->Subscribe(listener, target);
}

}  // namespace Vexo::Linux
