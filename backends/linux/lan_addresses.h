// LanAddresses: the addresses by which other machines on the same link reach this one, and a watcher of their changes
// (getifaddrs(3), rtnetlink(7)). An interface counts while it is up, has a carrier and can multicast, and is no
// loopback. Of IPv6, global and unique-local addresses count; link-local ones do not, since the soft bus has no scope
// for them. Any thread may use it. No call blocks, except the destructor of LanWatcher. Used by dns_sd_channel.h.
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
    int interface = 0;  // its number (if_nametoindex(3))
    bool isIpv6 = false;
    std::string address;  // "192.0.2.7", "2001:db8::7"
    int prefixBits = 0;   // of its subnet; 0: no other address is in it

    auto operator<=>(const LanAddress&) const = default;  // NOLINT(modernize-use-nullptr): no pointer
};

// Returns this machine's LAN addresses, sorted.
[[nodiscard]] Result<std::vector<LanAddress>> ListLanAddresses();

// Whether the address lies in a subnet of one of that interface's addresses. False for text that is no address.
bool IsOnLink(const std::vector<LanAddress>& lan, int interface, const std::string& address);

// Calls back about 100 ms after the first of several changes of links or addresses, including addresses that do not
// count. Each watcher has a thread, which sleeps while nothing changes. Callbacks run on that thread.
class LanWatcher : public NoCopyable {
public:
    [[nodiscard]] static Result<std::unique_ptr<LanWatcher>> Start(std::function<void()> changed);

    // Ends the thread; no callback runs after it returns. Blocks for a callback in progress.
    virtual ~LanWatcher() = default;

protected:
    LanWatcher() = default;
};

}  // namespace Vexo::Linux
