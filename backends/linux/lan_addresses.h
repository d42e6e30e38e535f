// Lists the addresses at which other machines on the same link can reach this machine, and watches them for changes
// (getifaddrs(3), rtnetlink(7)). An interface counts while it is up, has a carrier and can multicast. A loopback
// interface does not count. Global and unique-local IPv6 addresses count. Link-local IPv6 addresses do not count,
// because they need a scope, and the addresses that devices send each other contain no scope. Any thread may use these
// functions. No call blocks, except the destructor of LanWatcher. Used by dns_sd_channel.h.
#pragma once

#include <compare>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/base/nocopyable.h"
#include "platform/base/result.h"

namespace Vexo::Linux {

struct LanAddress {
    int interface = 0;  // the interface's index (if_nametoindex(3))
    bool isIpv6 = false;
    std::string address;  // such as "192.0.2.7" or "2001:db8::7"
    int prefixBits = 0;   // length of the subnet's prefix; 0: the subnet has no other address

    auto operator<=>(const LanAddress&) const = default;  // NOLINT(modernize-use-nullptr): no pointer
};

// Returns this machine's LAN addresses, sorted.
[[nodiscard]] Result<std::vector<LanAddress>> ListLanAddresses();

// Whether the address belongs to the subnet of one of the given interface's addresses. Returns false if the text is not
// an address.
bool IsOnLink(const std::vector<LanAddress>& lan, int interface, const std::string& address);

// Calls a callback about 100 ms after the first of several changes of links or addresses. Changes of addresses that
// ListLanAddresses does not return cause calls too. Each watcher has its own thread, on which the callback runs. The
// thread sleeps while nothing changes.
class LanWatcher : public NoCopyable {
public:
    [[nodiscard]] static Result<std::unique_ptr<LanWatcher>> Start(std::function<void()> changed);

    // Ends the thread. Blocks until a callback in progress has returned. No callback runs afterwards.
    virtual ~LanWatcher() = default;

protected:
    LanWatcher() = default;
};

}  // namespace Vexo::Linux
