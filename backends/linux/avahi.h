// Avahi over D-Bus: the names, numbers and limits that the parts of the DNS-SD channel (dns_sd_channel.h) use.
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

// Values of Avahi's type AvahiProtocol. AVAHI_ANY is also a value of AvahiIfIndex, and then means any interface.
inline constexpr int32_t AVAHI_PROTOCOL_IPV4 = 0;
inline constexpr int32_t AVAHI_PROTOCOL_IPV6 = 1;
inline constexpr int32_t AVAHI_ANY = -1;

inline constexpr const char* DNS_SD_TYPE = "_distnet._tcp";
inline constexpr const char* DNS_SD_DOMAIN = "local";

// AVAHI_CALL_LIMIT and AVAHI_END_LIMIT: the two limits of DaemonCalls (daemon_calls.h). Their sum is below one second,
// because AnnouncementChannel::Withdraw may take one second. If a call that creates an object times out, Avahi may
// still create the object later. Nobody uses this object, and it exists until this bus connection ends or Avahi exits.
// Avahi allows each client 1024 objects (objects-per-client-max).
inline constexpr std::chrono::milliseconds AVAHI_CALL_LIMIT{500};
inline constexpr std::chrono::milliseconds AVAHI_END_LIMIT{300};

// Makes Avahi free one of its objects. Ignores errors, because the object may already be gone. Blocks for Avahi's
// reply, at most as long as DaemonCalls::CallForCleanUp.
inline void FreeAvahiObject(DaemonCalls& avahi, const std::string& path, const char* interface)
{
    static_cast<void>(avahi.CallForCleanUp({AVAHI, path, interface}, "Free"));
}

}  // namespace Vexo::Linux
