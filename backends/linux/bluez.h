// BlueZ over D-Bus, as both halves of the Bluetooth channel use it: its names, types and limits.
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

// The properties of one object, by interface; and those of all objects, by path.
using BluezInterfaces = std::map<std::string, PropertyMap>;
using BluezObjects = std::map<sdbus::ObjectPath, BluezInterfaces>;

// For DaemonCalls. BlueZ answers when the controller has answered. BLUEZ_END_LIMIT is less than the second within which
// a channel withdraws.
inline constexpr std::chrono::milliseconds BLUEZ_CALL_LIMIT{2000};
inline constexpr std::chrono::milliseconds BLUEZ_END_LIMIT{600};

}  // namespace Vexo::Linux
