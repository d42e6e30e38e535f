// Tests that a client cannot disturb other clients by sending too much, by reading nothing or by sending garbage.
#include <fcntl.h>
#include <sys/resource.h>

#include <algorithm>

#include "platform/dfx/log_limit.h"
#include "platform/ipc/user_shares.h"
#include "tests/platform/ipc/ipc_test_server.h"
#include "tests/support/log_capture.h"
#include "tests/support/manual_timers.h"

namespace Vexo::Ipc {
namespace {

class IpcFloodTest : public IpcTestServer {
protected:
    void ServeLargeReplies()
    {
        Serve([](const IpcHeader& request, MessageParcel& data, MessageParcel& reply) {
            if (request.code == 2) {
                return Echo(data, reply);
            }
            int32_t value = 0;
            data.ReadInt32(value);
            const bool written = reply.WriteInt32(value) && reply.WriteString(std::string(REPLY_SIZE, 'x'));
            return int32_t{written ? IPC_OK : IPC_UNKNOWN_REQUEST};
        });
    }
    bool Connections(size_t count)
    {
        return Eventually([this, count] { return server_->Counts().connections == count; });
    }

    static constexpr size_t REPLY_SIZE = 100'000;
    static constexpr int32_t REQUESTS = 12;  // Their replies do not fit into a socket's buffer.
};

TEST_F(IpcFloodTest, ClientsThatDoNotReadBlockNoWorkerAndAreClosed)
{
    const Tests::LogCapture log;
    options_.maxThreads = 2;
    options_.sendLimit = std::chrono::seconds(1);
    ServeLargeReplies();
    std::vector<UniqueFd> unread(20);
    for (UniqueFd& socket : unread) {
        socket = ConnectRaw();
        for (int32_t i = 0; i < REQUESTS; ++i) {
            ASSERT_TRUE(SendRaw(socket, RequestOf(i)));
        }
    }
    const UniqueFd other = ConnectRaw();
    ASSERT_TRUE(SendRaw(other, RequestOf(5, 2)));
    EXPECT_EQ(ReceiveRaw(other).value, 5);
    EXPECT_EQ(server_->Counts().connections, unread.size() + 1) << "answered before the first is closed";
    EXPECT_TRUE(Connections(1));
    EXPECT_EQ(log.Count("does not read its replies"), 1U) << "one line for its user";
}

TEST_F(IpcFloodTest, ClientThatReadsLateGetsEveryReplyInOrder)
{
    ServeLargeReplies();
    const UniqueFd socket = ConnectRaw();
    for (int32_t i = 0; i < REQUESTS; ++i) {
        ASSERT_TRUE(SendRaw(socket, RequestOf(i)));
    }
    std::vector<uint8_t> bytes(MAX_DATAGRAM_SIZE);
    for (int32_t i = 0; i < REQUESTS; ++i) {
        ASSERT_GT(::recv(socket.Get(), bytes.data(), bytes.size(), 0), ssize_t{REPLY_SIZE});
        EXPECT_EQ(bytes[IPC_HEADER_SIZE], i);
    }
}

TEST(UserSharesTest, LimitedUserGetsShareOfConnectionsWithoutReserve)
{
    constexpr uid_t LIMITED = 1000;
    constexpr uid_t OTHER = 1001;
    UserShares shares({4, 1, 2, 2, 2, [](uid_t user) { return user == LIMITED; }});
    const auto connects = [&](uid_t user) { return shares.AddConnection(user) == nullptr; };
    EXPECT_TRUE(connects(LIMITED) && connects(LIMITED));
    EXPECT_FALSE(connects(LIMITED)) << "its share is used up";
    shares.RemoveConnection(LIMITED);
    EXPECT_TRUE(connects(LIMITED)) << "one has left";
    shares.RemoveConnection(LIMITED);
    EXPECT_TRUE(connects(OTHER) && connects(OTHER));
    EXPECT_FALSE(connects(LIMITED)) << "the last is reserved";
    EXPECT_TRUE(connects(OTHER));
    EXPECT_FALSE(connects(OTHER)) << "all are taken";
}

TEST_F(IpcFloodTest, RequestsBeyondUserShareWaitAndAllRun)
{
    options_.maxThreads = 3;
    options_.shares.userRequests = 2;
    options_.shares.isLimited = [](uid_t) { return true; };
    ServeGate();
    std::vector<UniqueFd> sockets(20);
    std::generate(sockets.begin(), sockets.end(), [this] { return Send(); });
    EXPECT_TRUE(Entered(2));
    EXPECT_FALSE(Eventually([this] { return entered_ != 2; }, std::chrono::milliseconds(50)));
    const UniqueFd another = ConnectRaw();
    EXPECT_TRUE(Connections(sockets.size() + 1)) << "the third worker is free";
    Release();
    for (const UniqueFd& socket : sockets) {
        EXPECT_EQ(ReceiveRaw(socket).status, IPC_OK);
    }
    EXPECT_EQ(entered_, sockets.size());
}

TEST_F(IpcFloodTest, RequestsOfOneUserBeginOneAfterAnotherAndBlockedOnesDelayNone)
{
    options_.shares.userNewRequests = 1;
    options_.shares.isLimited = [](uid_t) { return true; };
    ServeGate();
    std::vector<UniqueFd> sockets(5);
    const auto began = std::chrono::steady_clock::now();
    std::generate(sockets.begin(), sockets.end(), [this] { return Send(); });
    EXPECT_TRUE(Entered(sockets.size()));
    EXPECT_GE(std::chrono::steady_clock::now() - began, (sockets.size() - 1) * NEW_REQUEST_TIME);
    Release();
    for (const UniqueFd& socket : sockets) {
        EXPECT_EQ(ReceiveRaw(socket).status, IPC_OK);
    }
}

TEST_F(IpcFloodTest, NewClientsAreRefusedWhileDescriptorsRunOut)
{
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizer's own check of objects needs a descriptor (a pipe)";
#endif
    const Tests::LogCapture log;
    options_.maxThreads = 1;  // so after a reply no accept4(2) runs, which would hold a free descriptor for a moment
    ServeEcho();
    const UniqueFd served = ConnectRaw();
    ExpectEcho(served);
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    // Sets the limit of open descriptors so that one descriptor is free. The client's socket uses that descriptor, so
    // the server has no descriptor for its end of the connection.
    UniqueFd next(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    const rlimit few{static_cast<rlim_t>(next.Get()) + 1, before.rlim_max};
    next.Reset();
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
    EXPECT_EQ(ReceiveRaw(ConnectRaw()).status, IPC_BUSY);
    EXPECT_TRUE(log.WaitFor("clients are turned away: out of descriptors"));
    ExpectEcho(served);
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
    ExpectEcho(ConnectRaw());
}

TEST(LogLimitTest, CountsOmittedLinesAndSourcesBeyondLimit)
{
    Tests::ManualTimers timers;
    QuviewDFX::LogLimit<uid_t> limit(timers);
    EXPECT_EQ(limit.Admit(7), "");
    EXPECT_FALSE(limit.Admit(7) || limit.Admit(7));
    timers.Advance(QuviewDFX::LOG_LIMIT_INTERVAL);
    EXPECT_EQ(limit.Admit(7), "; 2 lines like it were left out");
    uid_t user = 1000;
    while (limit.Admit(user)) {
        ASSERT_LT(user++, 10'000U) << "one user with many ids fills the log";
    }
    timers.Advance(QuviewDFX::LOG_LIMIT_INTERVAL);
    EXPECT_TRUE(limit.Admit(user));
}

}  // namespace
}  // namespace Vexo::Ipc
