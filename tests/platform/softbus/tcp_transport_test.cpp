#include "platform/softbus/transport/tcp_transport.h"

#include <gtest/gtest.h>

#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/post.hpp>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "platform/base/host_port.h"

namespace Vexo::SoftBus {
namespace {

TEST(TcpTransportTest, FloodOfConnectionsLeavesReactorFreeForOtherWork)
{
    constexpr size_t CONNECTIONS = 300;
    asio::io_context reactor;
    const auto transport = std::make_shared<TcpTransport>(reactor, "127.0.0.1:0");
    size_t accepted = 0;
    size_t acceptedBeforeOtherWork = 0;
    const Result<std::string> address = transport->Listen([&](const Stream& /*stream*/, const std::string& /*from*/) {
        if (++accepted == 1) {
            asio::post(reactor, [&] { acceptedBeforeOtherWork = accepted; });
        } else if (accepted == CONNECTIONS) {
            transport->Stop();
        }
    });
    ASSERT_TRUE(address) << address.error().message;
    const HostPort where = ParseHostPort(*address).value();
    std::vector<asio::ip::tcp::socket> clients;
    for (size_t i = 0; i < CONNECTIONS; ++i) {
        clients.emplace_back(reactor).connect({asio::ip::make_address(where.host), where.port});
    }
    reactor.run_for(std::chrono::seconds(30));
    EXPECT_EQ(accepted, CONNECTIONS);
    EXPECT_LE(acceptedBeforeOtherWork, CONNECTIONS / 4);
    EXPECT_GT(acceptedBeforeOtherWork, 0U);
}

}  // namespace
}  // namespace Vexo::SoftBus
