// DnsSdBrowser: finds, through Avahi, the other devices of the account that are announced nearby. Only names with a
// token of the account are resolved, so the services of others cost no packet. An address counts only while it is on
// the link on which it was announced. Used on the channel's strand (dns_sd_channel.h); blocks for Avahi's answers.
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

class DnsSdBrowser : public NoCopyable {
public:
    // An instance name on one interface. Its IPv4 and IPv6 services are one announcement.
    struct Place {
        std::string instance;
        int32_t interface = 0;

        auto operator<=>(const Place&) const = default;  // NOLINT(modernize-use-nullptr): no pointer
    };
    // What Avahi reports and resolves: an instance name on an interface, over IPv4 or IPv6.
    using Service = std::pair<Place, int32_t>;  // the second: AvahiProtocol

    // isOwn: whether this device announces itself by that instance name.
    DnsSdBrowser(DaemonCalls& avahi, std::function<bool(const std::string&)> isOwn,
                 SoftBus::AnnouncementChannel::IsOurs isOurs, SoftBus::AnnouncementChannel::Heard heard)
        : avahi_(avahi), isOwn_(std::move(isOwn)), isOurs_(std::move(isOurs)), heard_(std::move(heard))
    {
    }

    // Starts to browse, unless it already browses, and resolves the waiting services. After an error, call Update again
    // later.
    [[nodiscard]] Result<void> Update(const std::vector<LanAddress>& lan);

    // Call for Avahi's signals. path: that of the object that sent the signal.
    [[nodiscard]] Result<void> OnItemNew(const std::string& path, const Service& service);
    [[nodiscard]] Result<void> OnItemRemove(const std::string& path, const Service& service);
    // address: empty if Avahi could not resolve the service.
    [[nodiscard]] Result<void> OnResolved(const std::string& path, const std::string& address, uint16_t port);
    void OnAllForNow(const std::string& path);
    // Call when Avahi's browser itself has failed. The next Update creates a new one.
    void OnBrowserFailure(const std::string& path);
    // Whether the browser has not yet reported all existing services. It may still fail until then.
    bool IsPending() const { return isPending_; }

    // Call when Avahi has exited. Reports all devices as gone.
    void Reset();
    // Frees the browser and the resolvers at Avahi, without a callback.
    void End();

private:
    struct Lookup {
        int tries = 0;
        std::string address;  // empty: not known
        uint16_t port = 0;
    };
    struct Item {
        std::string token;
        uint64_t arrival = 0;               // its place in the order of arrival
        std::map<int32_t, Lookup> lookups;  // by AvahiProtocol
        std::optional<SoftBus::Announcement> reported;
    };

    // Drops the oldest name with that token if there are too many: anybody can copy a token, and copies must not fill
    // the table.
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
    std::string browser_;  // its path; empty: none
    bool isPending_ = false;
    std::map<Place, Item> items_;
    uint64_t arrivals_ = 0;
    std::map<std::string, Service> resolving_;  // by the resolver's path
    std::deque<Service> waiting_;               // those with fewer tries first
    QuviewDFX::LogLimit<std::string> logLimit_;
};

}  // namespace Vexo::Linux
