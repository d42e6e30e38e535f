// Avahi over D-Bus, as both halves of the DNS-SD channel use it: its names and numbers, and calls that end soon.
// https://github.com/avahi/avahi/tree/v0.8/avahi-daemon (the files org.freedesktop.Avahi.*.xml)
#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "backends/linux/bus.h"
#include "platform/base/clock.h"
#include "platform/base/nocopyable.h"
#include "platform/base/result.h"

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

// Calls to Avahi. Used on the channel's strand, but for Stop and IsStopped, which any thread may call.
class AvahiCalls : public NoCopyable {
public:
    explicit AvahiCalls(std::shared_ptr<Bus> bus) : bus_(std::move(bus)) {}

    // From now on calls fail at once, but for Free.
    void Stop() { isStopped_ = true; }
    bool IsStopped() const { return isStopped_; }

    // Blocks for the answer, at most CALL_LIMIT. An object that Avahi makes after that stays, unused, until this
    // connection to the bus or Avahi ends: one for each call that timed out. Avahi rejects new objects of a client that
    // has 1024 (its objects-per-client-max).
    template <typename Reply = void, typename... Arguments>
    [[nodiscard]] Result<Reply> Call(const BusObject& object, const std::string& method, const Arguments&... arguments)
    {
        if (isStopped_) {
            return Fail(ErrorCode::UNAVAILABLE, "the channel has stopped");
        }
        return bus_->Call<Reply>(object, method, CALL_LIMIT, arguments...);
    }

    // Frees an object of Avahi; it may already be gone. After Stop, all Free calls together wait at most FREE_LIMIT.
    // The messages are sent even if Avahi answers later.
    void Free(const std::string& path, const char* interface)
    {
        auto limit = CALL_LIMIT;
        if (isStopped_) {
            const auto now = Clock::System().Now();
            if (freeDeadline_ == SteadyTime()) {
                freeDeadline_ = now + FREE_LIMIT;
            }
            limit = std::max(std::chrono::milliseconds(1),
                             std::chrono::duration_cast<std::chrono::milliseconds>(freeDeadline_ - now));
        }
        static_cast<void>(bus_->Call({AVAHI, path, interface}, "Free", limit));
    }

private:
    // Together less than the second within which a channel withdraws.
    static constexpr std::chrono::milliseconds CALL_LIMIT{500};
    static constexpr std::chrono::milliseconds FREE_LIMIT{300};

    const std::shared_ptr<Bus> bus_;
    std::atomic<bool> isStopped_{false};
    SteadyTime freeDeadline_;
};

}  // namespace Vexo::Linux
