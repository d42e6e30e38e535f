// Avahi over D-Bus, as both halves of the DNS-SD channel use it: its names, numbers and limits.
// https://github.com/avahi/avahi/tree/v0.8/avahi-daemon (the files org.freedesktop.Avahi.*.xml)
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "backends/linux/daemon_calls.h"

namespace Vexo::Linux {

inline constexpr const char* AVAHI = "org.freedesktop.Avahi";
inline constexpr const char* AVAHI_ENTRY_GROUP = "org.freedesktop.Avahi.EntryGroup";
inline constexpr const char* AVAHI_SERVICE_BROWSER = "org.freedesktop.Avahi.ServiceBrowser";
inline constexpr const char* AVAHI_SERVICE_RESOLVER = "org.freedesktop.Avahi.ServiceResolver";
inline const BusObject AVAHI_SERVER{AVAHI, "/", "org.freedesktop.Avahi.Server"};

// AvahiProtocol, AvahiIfIndex
inline constexpr int32_t AVAHI_PROTOCOL_IPV4 = 0;
inline constexpr int32_t AVAHI_PROTOCOL_IPV6 = 1;
inline constexpr int32_t AVAHI_ANY = -1;

inline constexpr const char* DNS_SD_TYPE = "_distnet._tcp";
inline constexpr const char* DNS_SD_DOMAIN = "local";

// For DaemonCalls. An object that Avahi makes after the call for it timed out stays, unused, until this connection to
// the bus or Avahi ends. Avahi rejects new objects of a client that has 1024 (its objects-per-client-max). Both limits
// together are less than the second within which a channel withdraws.
inline constexpr std::chrono::milliseconds AVAHI_CALL_LIMIT{500};
inline constexpr std::chrono::milliseconds AVAHI_END_LIMIT{300};

// Frees an object of Avahi; it may already be gone. Blocks as DaemonCalls::CallAtEnd.
inline void FreeAvahiObject(DaemonCalls& avahi, const std::string& path, const char* interface)
{
    static_cast<void>(avahi.CallAtEnd({AVAHI, path, interface}, "Free"));
}

}  // namespace Vexo::Linux
