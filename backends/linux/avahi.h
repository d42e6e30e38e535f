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

// Values of Avahi's types AvahiProtocol and AvahiIfIndex; AVAHI_ANY is valid for both.
inline constexpr int32_t AVAHI_PROTOCOL_IPV4 = 0;
inline constexpr int32_t AVAHI_PROTOCOL_IPV6 = 1;
inline constexpr int32_t AVAHI_ANY = -1;

inline constexpr const char* DNS_SD_TYPE = "_distnet._tcp";
inline constexpr const char* DNS_SD_DOMAIN = "local";

// The limits of DaemonCalls. If Avahi creates an object after the call for it timed out, the object stays unused until
// this bus connection ends or Avahi exits. Avahi allows a client 1024 objects (objects-per-client-max). Together, both
// limits are below one second, the limit of AnnouncementChannel::Withdraw.
inline constexpr std::chrono::milliseconds AVAHI_CALL_LIMIT{500};
inline constexpr std::chrono::milliseconds AVAHI_END_LIMIT{300};

// Frees an object at Avahi. Ignores errors, because the object may already be gone. Blocks as DaemonCalls::CallAtEnd.
inline void FreeAvahiObject(DaemonCalls& avahi, const std::string& path, const char* interface)
{
    static_cast<void>(avahi.CallAtEnd({AVAHI, path, interface}, "Free"));
}

}  // namespace Vexo::Linux
