// BlueZ over D-Bus, as both halves of the Bluetooth channel use it: its names, and calls that end soon.
// https://git.kernel.org/pub/scm/bluetooth/bluez.git/tree/doc?h=5.66 (the files adapter-api.txt, device-api.txt,
// advertising-api.txt)
#pragma once

#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "backends/linux/bus.h"
#include "platform/base/nocopyable.h"
#include "platform/base/result.h"

namespace Vexo::Linux {

inline constexpr const char* BLUEZ = "org.bluez";
inline constexpr const char* BLUEZ_ADAPTER = "org.bluez.Adapter1";
inline constexpr const char* BLUEZ_DEVICE = "org.bluez.Device1";
inline constexpr const char* BLUEZ_ADVERTISEMENT = "org.bluez.LEAdvertisement1";
inline constexpr const char* BLUEZ_ADVERTISING_MANAGER = "org.bluez.LEAdvertisingManager1";
inline const BusObject BLUEZ_OBJECTS{BLUEZ, "/", "org.freedesktop.DBus.ObjectManager"};

// Of one object: the properties of each of its interfaces. Of all: by path.
using BluezInterfaces = std::map<std::string, PropertyMap>;
using BluezObjects = std::map<sdbus::ObjectPath, BluezInterfaces>;

// Calls to BlueZ. Used on the channel's strand, but for Stop, which any thread may call.
class BluezCalls : public NoCopyable {
public:
    explicit BluezCalls(std::shared_ptr<Bus> bus) : bus_(std::move(bus)) {}

    // From now on calls fail at once, but for CallAtEnd.
    void Stop() { isStopped_ = true; }
    bool IsStopped() const { return isStopped_; }
    Bus& Connection() { return *bus_; }

    // Blocks for the answer, at most CALL_LIMIT.
    template <typename Reply = void, typename... Arguments>
    [[nodiscard]] Result<Reply> Call(const BusObject& object, const std::string& method, const Arguments&... arguments)
    {
        if (isStopped_) {
            return Fail(ErrorCode::UNAVAILABLE, "the channel has stopped");
        }
        return bus_->Call<Reply>(object, method, CALL_LIMIT, arguments...);
    }

    // As Call, for what ends something: goes out after Stop too, and then blocks for a shorter time.
    template <typename... Arguments>
    [[nodiscard]] Result<void> CallAtEnd(const BusObject& object, const std::string& method,
                                         const Arguments&... arguments)
    {
        return bus_->Call(object, method, isStopped_ ? END_LIMIT : CALL_LIMIT, arguments...);
    }

    [[nodiscard]] Result<BluezObjects> ListObjects() { return Call<BluezObjects>(BLUEZ_OBJECTS, "GetManagedObjects"); }

private:
    // BlueZ answers when the controller has. The two calls of an end together take less than the second within which a
    // channel withdraws.
    static constexpr std::chrono::milliseconds CALL_LIMIT{2000};
    static constexpr std::chrono::milliseconds END_LIMIT{300};

    const std::shared_ptr<Bus> bus_;
    std::atomic<bool> isStopped_{false};
};

}  // namespace Vexo::Linux
