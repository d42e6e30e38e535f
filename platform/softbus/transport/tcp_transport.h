// TcpTransport: TCP connections, for link types 1 and 2. Examples of addresses: "192.0.2.7:40117",
// "[2001:db8::7]:40117", "host.example:40117". Connect resolves host names without blocking the reactor. Sockets have
// the option TCP_NODELAY (tcp(7)). Threads: transport.h.
#pragma once

#include <asio/ip/tcp.hpp>
#include <asio/steady_timer.hpp>
#include <memory>
#include <set>
#include <string>

#include "platform/base/nocopyable.h"
#include "platform/softbus/transport/transport.h"

namespace Vexo::SoftBus {

class TcpTransport : public Transport, public std::enable_shared_from_this<TcpTransport>, public NoCopyable {
public:
    // listenAddress has a numeric host. If its port is 0, the kernel chooses a free port.
    TcpTransport(asio::io_context& reactor, std::string listenAddress);
    ~TcpTransport() override;

    std::string Name() const override { return "tcp"; }
    bool SupportsLinkType(LinkType type) const override
    {
        return type == LINK_TYPE_WIFI_5G || type == LINK_TYPE_WIFI_2G;
    }
    [[nodiscard]] Result<std::string> Listen(Accepted accepted) override;
    [[nodiscard]] Result<void> CheckAddress(const std::string& address) const override;
    [[nodiscard]] std::shared_ptr<void> Connect(const std::string& address, std::chrono::milliseconds limit,
                                                Connected done) override;
    std::string Reachable(const std::string& announced, const std::string& seenFrom) const override;
    // Returns the IPv4 address, or the /64 network of an IPv6 address. The network is used because one host can choose
    // any address in its /64 network.
    std::string SourceOf(const std::string& from) const override;
    void Stop() override;

private:
    class Attempt;

    void AcceptNext();
    void AcceptSome();

    asio::io_context& reactor_;
    const std::string listenAddress_;
    asio::ip::tcp::acceptor acceptor_;
    asio::steady_timer acceptPause_;
    Accepted accepted_;
    std::set<std::shared_ptr<Attempt>> attempts_;
    bool stopped_ = false;
};

}  // namespace Vexo::SoftBus
