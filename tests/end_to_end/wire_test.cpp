// The local wire as docs/ipc.md has it, byte by byte: requests that are written here by hand, and the replies of a real
// daemon. Nothing of the project's own encoders takes part.
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>

#include "platform/base/unique_fd.h"
#include "tests/end_to_end/world.h"

namespace Vexo::EndToEnd {
namespace {

using Bytes = std::vector<uint8_t>;

Bytes operator+(Bytes left, const Bytes& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

// The int32 count of units, the units, a NUL unit, padding to four bytes.
Bytes TokenOf(const std::string& descriptor)
{
    Bytes bytes{static_cast<uint8_t>(descriptor.size()), 0, 0, 0};
    for (const char unit : descriptor) {
        bytes.push_back(static_cast<uint8_t>(unit));
        bytes.push_back(0);
    }
    bytes.insert(bytes.end(), descriptor.size() % 2 == 0 ? 4 : 2, 0);
    return bytes;
}

class WireTest : public testing::Test {
protected:
    void SetUp() override
    {
        device_.Start(false);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, device_.Socket().c_str(), sizeof(address.sun_path) - 1);
        socket_ = UniqueFd(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
        ASSERT_EQ(::connect(socket_.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
        const timeval limit{PATIENCE.count(), 0};
        ::setsockopt(socket_.Get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
    }
    Bytes Ask(const Bytes& request)
    {
        EXPECT_EQ(::send(socket_.Get(), request.data(), request.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(request.size()));
        Bytes reply(4096);
        const ssize_t size = ::recv(socket_.Get(), reply.data(), reply.size(), 0);
        reply.resize(size > 0 ? static_cast<size_t>(size) : 0);
        return reply;
    }

    const Bytes serviceToken_ = TokenOf("Vexo.NetManagerStandard.IDistNetService");
    World world_;
    Device& device_{world_.Add("laptop")};
    UniqueFd socket_;
};

// "DSN1", version 1, flags, ability 1163 (0x048b), and a code or a status.
Bytes HeaderOf(uint8_t flags, uint8_t code)
{
    return {'D', 'S', 'N', '1', 1, 0, flags, 0, 0x8b, 0x04, 0, 0, code, 0, 0, 0};
}

TEST_F(WireTest, StartAndReleaseOfTheServiceAreAnsweredWithResultAndState)
{
    EXPECT_EQ(serviceToken_.size(), 84U);
    EXPECT_EQ(Ask(HeaderOf(0, 0) + serviceToken_), HeaderOf(1, 0) + Bytes({0, 0, 0, 0, 1, 0, 0, 0}));
    EXPECT_EQ(Ask(HeaderOf(0, 1) + serviceToken_), HeaderOf(1, 0) + Bytes({0, 0, 0, 0, 1, 0, 0, 0}));
}

TEST_F(WireTest, RefusalsCarryTheirStatusAndTheirReason)
{
    const Bytes unknownRequest = {'D', 'S', 'N', '1', 1, 0, 1, 0, 0x8b, 0x04, 0, 0, 0x31, 0x01, 0, 0};  // 305
    // 1004500108, the second time without the service being asked.
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(Ask(HeaderOf(0, 0) + TokenOf("Vexo.NetManagerStandard.IDistNetServicd")),
                  unknownRequest + Bytes({0x8c, 0x74, 0xdf, 0x3b}));
        EXPECT_EQ(Ask(HeaderOf(0, 5) + serviceToken_), unknownRequest);
    }
    const Bytes badArguments = {'D', 'S', 'N', '1', 1, 0, 1, 0, 0x8b, 0x04, 0, 0, 0x87, 0x74, 0xdf, 0x3b};
    EXPECT_EQ(Ask(HeaderOf(0, 2) + serviceToken_), badArguments) << "1004500103";
    const Bytes unknownAbility = {'D', 'S', 'N', '1', 1, 0, 1, 0, 7, 0, 0, 0, 0x32, 0x01, 0, 0};  // 306
    EXPECT_EQ(Ask({'D', 'S', 'N', '1', 1, 0, 0, 0, 7, 0, 0, 0, 1, 0, 0, 0}), unknownAbility);
    const Bytes badDatagram = {'D', 'S', 'N', '1', 1, 0, 1, 0, 0, 0, 0, 0, 0x34, 0x01, 0, 0};  // 308
    EXPECT_EQ(Ask({'D', 'S', 'N', '2', 1, 0, 0, 0, 0x8b, 0x04, 0, 0, 0, 0, 0, 0}), badDatagram);
    EXPECT_EQ(Ask({'D', 'S', 'N', '1', 2, 0, 0, 0, 0x8b, 0x04, 0, 0, 0, 0, 0, 0}), badDatagram);
    EXPECT_EQ(Ask({'D', 'S', 'N'}), badDatagram);
}

// A program that dies takes its claim on the service along, whatever its requests were answered.
TEST_F(WireTest, AProgramWhoseOnlyRequestCouldNotBeReadHoldsTheServiceNoLongerOnceItIsGone)
{
    const pid_t child = ::fork();
    if (child == 0) {
        const Bytes request = HeaderOf(0, 2) + serviceToken_;
        const std::string socket = device_.Socket();
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, socket.c_str(), sizeof(address.sun_path) - 1);
        const int own = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
        uint8_t reply[64];
        const bool asked = ::connect(own, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0 &&
                           ::send(own, request.data(), request.size(), MSG_NOSIGNAL) > 0 &&
                           ::recv(own, reply, sizeof(reply), 0) == 16;
        ::_exit(asked ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(Eventually([&] { return device_.Status("service") == "idle"; })) << device_.Log();
}

}  // namespace
}  // namespace Vexo::EndToEnd
