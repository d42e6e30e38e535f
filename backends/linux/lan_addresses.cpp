#include "backends/linux/lan_addresses.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/base/unique_fd.h"

namespace Vexo::Linux {
namespace {

constexpr unsigned NEEDED_FLAGS = IFF_UP | IFF_RUNNING | IFF_MULTICAST;
constexpr int GATHER_MS = 100;
constexpr std::chrono::seconds POLL_FAILURE_PAUSE{1};
constexpr size_t IPV4_BYTES = 4;
constexpr size_t IPV6_BYTES = 16;

using AddressBytes = std::vector<uint8_t>;  // in network order; empty: no address

AddressBytes BytesOf(const sockaddr* address)
{
    const auto copy = [](const auto& from) {
        const auto* const begin = reinterpret_cast<const uint8_t*>(&from);
        return AddressBytes(begin, begin + sizeof(from));
    };
    if (address != nullptr && address->sa_family == AF_INET) {
        return copy(reinterpret_cast<const sockaddr_in*>(address)->sin_addr);
    }
    if (address != nullptr && address->sa_family == AF_INET6) {
        return copy(reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr);
    }
    return {};
}

AddressBytes BytesOf(const std::string& text)
{
    const bool isIpv6 = text.find(':') != std::string::npos;
    AddressBytes bytes(isIpv6 ? IPV6_BYTES : IPV4_BYTES);
    const bool isAddress = text.find('\0') == std::string::npos &&  // inet_pton(3) ignores what follows a null byte
                           ::inet_pton(isIpv6 ? AF_INET6 : AF_INET, text.c_str(), bytes.data()) == 1;
    return isAddress ? bytes : AddressBytes();
}

// Whether the address is a LAN address: IPv4 outside 0.0.0.0/8, global IPv6 (2000::/3) or unique-local IPv6 (fc00::/7).
bool IsUsable(const AddressBytes& bytes)
{
    if (bytes.size() == IPV4_BYTES) {
        return bytes[0] != 0;
    }
    return bytes.size() == IPV6_BYTES && ((bytes[0] & 0xe0U) == 0x20U || (bytes[0] & 0xfeU) == 0xfcU);
}

std::optional<LanAddress> LanAddressOf(const ifaddrs& entry)
{
    const AddressBytes bytes = BytesOf(entry.ifa_addr);
    if ((entry.ifa_flags & NEEDED_FLAGS) != NEEDED_FLAGS || (entry.ifa_flags & IFF_LOOPBACK) != 0 || !IsUsable(bytes)) {
        return std::nullopt;
    }
    LanAddress found;
    found.interface = static_cast<int>(::if_nametoindex(entry.ifa_name));
    found.isIpv6 = bytes.size() == IPV6_BYTES;
    std::array<char, INET6_ADDRSTRLEN> text{};
    if (found.interface == 0 ||
        ::inet_ntop(entry.ifa_addr->sa_family, bytes.data(), text.data(), text.size()) == nullptr) {
        return std::nullopt;  // the interface was removed meanwhile
    }
    found.address = text.data();
    for (const uint8_t byte : BytesOf(entry.ifa_netmask)) {
        found.prefixBits += std::popcount(byte);
    }
    return found;
}

bool ShareSubnet(const AddressBytes& one, const AddressBytes& other, int prefixBits)
{
    if (one.size() != other.size() || prefixBits == 0) {
        return false;
    }
    for (size_t i = 0; i < one.size() && prefixBits > 0; ++i, prefixBits -= 8) {
        const int ignored = std::max(0, 8 - prefixBits);
        if ((one[i] >> ignored) != (other[i] >> ignored)) {
            return false;
        }
    }
    return true;
}

Failure SystemFailure(const std::string& step)
{
    const int number = errno;
    return Fail(ErrorCodeOf(number), step + ": " + std::generic_category().message(number));
}

class RouteWatcher final : public LanWatcher {
public:
    RouteWatcher(UniqueFd route, UniqueFd stop, std::function<void()> changed)
        : route_(std::move(route)), stop_(std::move(stop)), changed_(std::move(changed)), thread_([this] { Run(); })
    {
    }

    ~RouteWatcher() override
    {
        ::eventfd_write(stop_.Get(), 1);
        thread_.join();
    }

private:
    void Run()
    {
        // The second Wait collects further changes. It passes the descriptor -1, which poll(2) ignores. So it ends when
        // its time limit has passed or the watcher is stopped.
        while (!Wait(route_.Get(), -1) && !Wait(-1, GATHER_MS)) {
            Drain();
            changed_();
        }
    }

    // Waits until the descriptor is readable, the watcher is stopped, or the time limit has passed. Returns whether the
    // watcher is stopped. If poll fails (ENOMEM), returns after a pause, as if the descriptor were readable.
    bool Wait(int fd, int limitMs) const
    {
        std::array<pollfd, 2> waits{pollfd{fd, POLLIN, 0}, pollfd{stop_.Get(), POLLIN, 0}};
        if (::poll(waits.data(), waits.size(), limitMs) < 0 && errno != EINTR) {
            std::this_thread::sleep_for(POLL_FAILURE_PAUSE);
            eventfd_t ignored = 0;
            return ::eventfd_read(stop_.Get(), &ignored) == 0;
        }
        return waits[1].revents != 0;
    }

    // Discards the messages, because the owner of the callback lists all addresses again. If messages are lost
    // (ENOBUFS), this also counts as a change.
    void Drain() const
    {
        std::array<char, 8192> buffer{};
        while (::recv(route_.Get(), buffer.data(), buffer.size(), MSG_DONTWAIT) >= 0 || errno == ENOBUFS ||
               errno == EINTR) {
        }
    }

    const UniqueFd route_;
    const UniqueFd stop_;
    const std::function<void()> changed_;
    std::thread thread_;  // declared last, because it uses the other members
};

}  // namespace

Result<std::vector<LanAddress>> ListLanAddresses()
{
    ifaddrs* first = nullptr;
    if (::getifaddrs(&first) != 0) {
        return SystemFailure("addresses of this machine");
    }
    const std::unique_ptr<ifaddrs, decltype(&::freeifaddrs)> entries(first, &::freeifaddrs);
    std::vector<LanAddress> found;
    for (const ifaddrs* entry = first; entry != nullptr; entry = entry->ifa_next) {
        if (auto address = LanAddressOf(*entry)) {
            found.push_back(std::move(*address));
        }
    }
    std::sort(found.begin(), found.end());
    return found;
}

bool IsOnLink(const std::vector<LanAddress>& lan, int interface, const std::string& address)
{
    const AddressBytes bytes = BytesOf(address);
    return std::any_of(lan.begin(), lan.end(), [&](const LanAddress& own) {
        return own.interface == interface && ShareSubnet(BytesOf(own.address), bytes, own.prefixBits);
    });
}

Result<std::unique_ptr<LanWatcher>> LanWatcher::Start(std::function<void()> changed)
{
    UniqueFd route(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE));
    UniqueFd stop(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    sockaddr_nl groups{};
    groups.nl_family = AF_NETLINK;
    groups.nl_groups = RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR;
    if (!route || !stop || ::bind(route.Get(), reinterpret_cast<const sockaddr*>(&groups), sizeof(groups)) != 0) {
        return SystemFailure("changes of this machine's addresses cannot be watched");
    }
    return std::unique_ptr<LanWatcher>(
        std::make_unique<RouteWatcher>(std::move(route), std::move(stop), std::move(changed)));
}

}  // namespace Vexo::Linux
