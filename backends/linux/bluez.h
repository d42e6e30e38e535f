// BlueZ over D-Bus: the names, types and limits that the parts of the Bluetooth channel (bluetooth_channel.h) use.
// https://git.kernel.org/pub/scm/bluetooth/bluez.git/tree/doc?h=5.66 (the files adapter-api.txt, device-api.txt,
// advertising-api.txt)
#pragma once

#include <chrono>
#include <map>
#include <string>

#include "backends/linux/daemon_calls.h"

namespace Vexo::Linux {

inline constexpr const char* BLUEZ = "org.bluez";
inline constexpr const char* BLUEZ_ADAPTER = "org.bluez.Adapter1";
inline constexpr const char* BLUEZ_DEVICE = "org.bluez.Device1";
inline constexpr const char* BLUEZ_ADVERTISEMENT = "org.bluez.LEAdvertisement1";
inline constexpr const char* BLUEZ_ADVERTISING_MANAGER = "org.bluez.LEAdvertisingManager1";
inline const BusObject BLUEZ_OBJECTS{BLUEZ, "/", "org.freedesktop.DBus.ObjectManager"};

// BluezInterfaces: the properties of one object, by interface. BluezObjects: the interfaces of all objects, by path.
using BluezInterfaces = std::map<std::string, PropertyMap>;
using BluezObjects = std::map<sdbus::ObjectPath, BluezInterfaces>;

// BLUEZ_CALL_LIMIT and BLUEZ_END_LIMIT: the two limits of DaemonCalls (daemon_calls.h). BLUEZ_CALL_LIMIT is long,
// because BlueZ replies only after the controller has answered. BLUEZ_END_LIMIT is below one second, because
// AnnouncementChannel::Withdraw may take one second.
inline constexpr std::chrono::milliseconds BLUEZ_CALL_LIMIT{2000};
inline constexpr std::chrono::milliseconds BLUEZ_END_LIMIT{600};

}  // namespace Vexo::Linux
