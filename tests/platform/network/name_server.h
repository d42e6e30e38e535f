// NameServer: a DNS server on the loopback interface. Answer() builds an answer to the query for the root name servers.
#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <algorithm>
#include <thread>
#include <vector>

#include "platform/base/unique_fd.h"
#include "platform/network/dns_probe.h"

namespace Vexo::Tests {

using Bytes = std::vector<uint8_t>;

inline constexpr uint16_t QUERY_ID = 0x1234;
inline const Bytes NS_RECORD{0, 0, 2, 0, 1, 0, 0, 1, 0, 0, 4, 1, 'a', 0xc0, 12};
inline const Bytes ADDRESS_RECORD{0, 0, 1, 0, 1, 0, 0, 1, 0, 0, 4, 192, 0, 2, 1};

inline Bytes Answer(const std::vector<Bytes>& records, uint8_t code = 0)
{
    Bytes answer = Network::EncodeRootQuery(QUERY_ID);
    answer[2] = 0x81;
    answer[3] = code;
    answer[7] = static_cast<uint8_t>(records.size());
    for (const Bytes& record : records) {
        answer.insert(answer.end(), record.begin(), record.end());
    }
    return answer;
}

// A name server on the loopback interface. answers: the datagrams to send, one for each query. Later queries get no
// answer.
class NameServer {
public:
    explicit NameServer(std::vector<Bytes> answers) : answers_(std::move(answers))
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof(address);
        EXPECT_EQ(::bind(socket_.Get(), reinterpret_cast<const sockaddr*>(&address), size), 0);
        EXPECT_EQ(::getsockname(socket_.Get(), reinterpret_cast<sockaddr*>(&address), &size), 0);
        port_ = ntohs(address.sin_port);
        thread_ = std::thread([this] { Serve(); });
    }
    ~NameServer()
    {
        ::shutdown(socket_.Get(), SHUT_RDWR);
        thread_.join();
    }
    uint16_t Port() const { return port_; }

private:
    void Serve()
    {
        for (Bytes& answer : answers_) {
            Bytes query(512);
            sockaddr_in from{};
            socklen_t size = sizeof(from);
            if (::recvfrom(socket_.Get(), query.data(), query.size(), 0, reinterpret_cast<sockaddr*>(&from), &size) <=
                0) {
                return;
            }
            std::copy_n(query.begin(), std::min<size_t>(2, answer.size()), answer.begin());
            // The client gets an unrelated datagram before the answer.
            for (const Bytes& datagram : {Bytes{1, 2, 3}, answer}) {
                EXPECT_GT(::sendto(socket_.Get(), datagram.data(), datagram.size(), 0,
                                   reinterpret_cast<const sockaddr*>(&from), size),
                          0);
            }
        }
    }

    std::vector<Bytes> answers_;
    const UniqueFd socket_{::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
    uint16_t port_ = 0;
    std::thread thread_;
};

}  // namespace Vexo::Tests
