// DnsSdBrowser: finds nearby devices of this account through Avahi. Only instance names with a token of this account
// are resolved, so services of others cost no packets. An address is reported only while it belongs to the subnet of
// the interface on which it was announced. Used on the strand of the DNS-SD channel (dns_sd_channel.h). Calls block
// until Avahi answers.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "backends/linux/avahi.h"
#include "backends/linux/lan_addresses.h"
#include "platform/base/nocopyable.h"
#include "platform/base/result.h"
#include "platform/dfx/log_limit.h"
#include "platform/softbus/discovery/announcement_channel.h"

namespace Vexo::Linux {

// Returns the token that an instance name contains. Returns an empty text if the name has another form. Pure function.
std::string TokenOf(const std::string& instance);

class DnsSdBrowser : public NoCopyable {
public:
    // An instance name on one network interface. Its IPv4 service and its IPv6 service are reported as one
    // announcement.
    struct Place {
        std::string instance;
        int32_t interface = 0;

        auto operator<=>(const Place&) const = default;  // NOLINT(modernize-use-nullptr): no pointer
    };
    // A service that Avahi reports and resolves: an instance name on an interface, over IPv4 or IPv6.
    using Service = std::pair<Place, int32_t>;  // second: a value of AvahiProtocol

    // isOwn: the function that returns whether this device announces itself by the given instance name.
    DnsSdBrowser(DaemonCalls& avahi, std::function<bool(const std::string&)> isOwn,
                 SoftBus::AnnouncementChannel::IsOurs isOurs, SoftBus::AnnouncementChannel::Heard heard)
        : avahi_(avahi), isOwn_(std::move(isOwn)), isOurs_(std::move(isOurs)), heard_(std::move(heard))
    {
    }

    // Starts the browser if it does not run, and resolves the waiting services. After an error, call Update again
    // later.
    [[nodiscard]] Result<void> Update(const std::vector<LanAddress>& lan);

    // Call OnItemNew, OnItemRemove and OnAllForNow for Avahi's signals ItemNew, ItemRemove and AllForNow. path: the
    // path of the object that sent the signal.
    [[nodiscard]] Result<void> OnItemNew(const std::string& path, const Service& service);
    [[nodiscard]] Result<void> OnItemRemove(const std::string& path, const Service& service);
    // Call this when a resolver of Avahi has finished. path: the path of the resolver. address: empty if Avahi could
    // not resolve the service.
    [[nodiscard]] Result<void> OnResolved(const std::string& path, const std::string& address, uint16_t port);
    void OnAllForNow(const std::string& path);
    // Call this when Avahi's browser object has failed. The next Update then creates a new browser.
    void OnBrowserFailure(const std::string& path);
    // Whether the browser runs but has not reported all existing services yet. Until then, the browser may still fail.
    bool IsPending() const { return isPending_; }

    // Reports all devices as gone. Call this when Avahi has exited.
    void Reset();
    // Frees Avahi's browser and resolver objects. Calls no callback.
    void End();

private:
    struct Lookup {
        int tries = 0;
        std::string address;  // empty: not known
        uint16_t port = 0;
    };
    struct Item {
        std::string token;
        uint64_t arrival = 0;               // a higher number arrived later
        std::map<int32_t, Lookup> lookups;  // keyed by AvahiProtocol
        std::optional<SoftBus::Announcement> reported;
    };

    // Drops the oldest instance name with that token if the interface has too many names with the token. Anybody can
    // copy a token, and the copies must not fill the table.
    void MakeRoomForNameOf(const std::string& token, int32_t interface);
    void Enqueue(const Service& service);
    [[nodiscard]] Result<void> ResolveWaiting();
    void StopResolving(const Service& service);
    void Report(const Place& place, Item& item);
    void LogOffLink();

    DaemonCalls& avahi_;
    const std::function<bool(const std::string&)> isOwn_;
    const SoftBus::AnnouncementChannel::IsOurs isOurs_;
    const SoftBus::AnnouncementChannel::Heard heard_;

    std::vector<LanAddress> lan_;
    std::string browser_;  // the path of Avahi's browser; empty: none
    bool isPending_ = false;
    std::map<Place, Item> items_;
    uint64_t arrivals_ = 0;
    std::map<std::string, Service> resolving_;  // keyed by the resolver's path
    std::deque<Service> waiting_;               // sorted: services with fewer tries first
    QuviewDFX::LogLimit<std::string> logLimit_;
};

}  // namespace Vexo::Linux
