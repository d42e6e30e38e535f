#include "platform/ipc/ipc_server.h"

#include <sys/stat.h>

#include <atomic>
#include <fstream>
#include <future>

#include "platform/ipc/iremote_object.h"
#include "tests/platform/ipc/ipc_test_server.h"

namespace Vexo::Ipc {
namespace {

class IpcServerTest : public IpcTestServer {
protected:
    std::vector<UniqueFd> SendFromNewClients(int count, uint32_t code)
    {
        std::vector<UniqueFd> sockets;
        for (int i = 0; i < count; ++i) {
            sockets.push_back(ConnectRaw());
            EXPECT_TRUE(SendRaw(sockets.back(), RequestOf(0, code)));
        }
        return sockets;
    }
    void ExpectDone(const std::vector<UniqueFd>& sockets)
    {
        for (const UniqueFd& socket : sockets) {
            EXPECT_EQ(ReceiveRaw(socket).status, IPC_OK);
        }
    }
};

TEST_F(IpcServerTest, LargestParcelTravelsBothWaysWithARefusalToo)
{
    Serve([](const IpcHeader&, MessageParcel& data, MessageParcel& reply) {
        std::string text;
        return data.ReadString(text) && reply.WriteString(text) ? IPC_UNKNOWN_REQUEST : IPC_OK;
    });
    const std::string text(MAX_PARCEL_SIZE - 8, 'x');
    MessageParcel data;
    MessageParcel reply;
    std::string echoed;
    ASSERT_TRUE(data.WriteString(text));
    EXPECT_EQ(Connect()->Transact(TEST_ABILITY, 1, data, reply, PATIENCE), IPC_UNKNOWN_REQUEST);
    EXPECT_TRUE(reply.ReadString(echoed));
    EXPECT_TRUE(echoed == text);
}

TEST_F(IpcServerTest, RequestsOfOneConnectionRunInOrderAndOneAtATime)
{
    constexpr int32_t COUNT = 100;
    std::atomic<int> running{0};
    std::atomic<bool> overlapped{false};
    Serve([&](const IpcHeader&, MessageParcel& data, MessageParcel& reply) {
        overlapped = overlapped || ++running > 1;
        int32_t value = 0;
        data.ReadInt32(value);
        reply.WriteInt32(value);
        --running;
        return IPC_OK;
    });
    const UniqueFd socket = ConnectRaw();
    for (int32_t i = 0; i < COUNT; ++i) {
        ASSERT_TRUE(SendRaw(socket, RequestOf(i)));
    }
    for (int32_t i = 0; i < COUNT; ++i) {
        ASSERT_EQ(ReceiveRaw(socket).value, i);
    }
    EXPECT_FALSE(overlapped);
}

TEST_F(IpcServerTest, SixtyFourBlockedRequestsDoNotDelayTheNext)
{
    ServeGate();
    const std::vector<UniqueFd> blocked = SendFromNewClients(64, 1);
    EXPECT_TRUE(Entered(64));
    ExpectDone(SendFromNewClients(1, 2));
    Release();
    ExpectDone(blocked);
}

TEST_F(IpcServerTest, RequestsBeyondTheThreadLimitWaitAndAreServed)
{
    options_.maxThreads = 2;
    ServeGate();
    const std::vector<UniqueFd> clients = SendFromNewClients(4, 1);
    EXPECT_TRUE(Entered(2));
    EXPECT_EQ(server_->Counts().threads, 2U);
    Release();
    ExpectDone(clients);
}

TEST_F(IpcServerTest, IdleWorkersLeaveButTheLast)
{
    options_.threadIdleLimit = std::chrono::milliseconds(20);
    ServeEcho();
    const UniqueFd socket = ConnectRaw();
    ASSERT_TRUE(SendRaw(socket, RequestOf(1)));
    EXPECT_EQ(ReceiveRaw(socket).value, 1);
    EXPECT_TRUE(Eventually([&] { return server_->Counts().threads == 1; }));
    ASSERT_TRUE(SendRaw(socket, RequestOf(2)));
    EXPECT_EQ(ReceiveRaw(socket).value, 2);
}

TEST_F(IpcServerTest, BadDatagramIsRefusedAndTheConnectionStaysUsable)
{
    ServeEcho();
    const std::vector<uint8_t> good = RequestOf(5);
    const auto changed = [&good](size_t offset, uint8_t value) {
        std::vector<uint8_t> bytes = good;
        bytes[offset] = value;
        return bytes;
    };
    const auto sized = [&good](size_t size) {
        std::vector<uint8_t> bytes = good;
        bytes.resize(size);
        return bytes;
    };
    const struct {
        const char* fault;
        std::vector<uint8_t> bytes;
    } table[] = {
        {"empty", {}},
        {"shorter than the header", sized(IPC_HEADER_SIZE - 1)},
        {"another magic", changed(0, 0)},
        {"another version", changed(4, 2)},
        {"reply flag", changed(6, 1)},
        {"unknown flag", changed(6, 2)},
        {"one byte too large", sized(MAX_DATAGRAM_SIZE + 1)},
        {"much too large", sized(MAX_DATAGRAM_SIZE + 8192)},
    };
    const UniqueFd socket = ConnectRaw();
    for (const auto& row : table) {
        SCOPED_TRACE(row.fault);
        ASSERT_TRUE(SendRaw(socket, row.bytes));
        const RawReply refusal = ReceiveRaw(socket);
        EXPECT_TRUE(refusal.read);
        EXPECT_EQ(refusal.status, IPC_BAD_DATAGRAM);
        ASSERT_TRUE(SendRaw(socket, good));
        EXPECT_EQ(ReceiveRaw(socket).value, 5);
    }
}

TEST_F(IpcServerTest, ClientThatLeavesItsRepliesUnreadIsClosedAndHoldsNoWorker)
{
    options_.sendLimit = std::chrono::milliseconds(20);
    Serve([](const IpcHeader&, MessageParcel&, MessageParcel& reply) {
        return reply.WriteString(std::string(100'000, 'x')) ? IPC_OK : IPC_UNKNOWN_REQUEST;
    });
    const UniqueFd socket = ConnectRaw();
    ASSERT_TRUE(SendRaw(socket, RequestOf(0)));
    ASSERT_TRUE(Eventually([&] { return server_->Counts().connections == 1; }));
    for (int i = 0; i < 10 && SendRaw(socket, RequestOf(i)); ++i) {
    }
    EXPECT_TRUE(Eventually([&] { return server_->Counts().connections == 0; }));
}

TEST_F(IpcServerTest, ClientMayLeaveWhileItsRequestRuns)
{
    ServeGate();
    UniqueFd socket = ConnectRaw();
    ASSERT_TRUE(SendRaw(socket, RequestOf(1)));
    ASSERT_TRUE(Entered(1));
    socket.Reset();
    Release();
    EXPECT_TRUE(Eventually([&] { return server_->Counts().connections == 0; }));
}

TEST_F(IpcServerTest, ExceptionOfAHandlerEndsInAnErrorReply)
{
    Serve([](const IpcHeader&, MessageParcel&, MessageParcel&) -> int32_t { throw std::runtime_error("broken"); });
    const UniqueFd socket = ConnectRaw();
    ASSERT_TRUE(SendRaw(socket, RequestOf(1)));
    EXPECT_EQ(ReceiveRaw(socket).status, IPC_HANDLER_FAILED);
}

TEST_F(IpcServerTest, ClientsBeyondTheLimitAreToldThatTheServerIsBusy)
{
    options_.maxConnections = 1;
    ServeEcho();
    const UniqueFd first = ConnectRaw();
    ASSERT_TRUE(SendRaw(first, RequestOf(1)));
    EXPECT_EQ(ReceiveRaw(first).value, 1);
    MessageParcel data;
    MessageParcel reply;
    EXPECT_EQ(Connect()->Transact(TEST_ABILITY, 1, data, reply, PATIENCE), IPC_BUSY);
}

class NamesItsCaller : public IPCObjectStub {
public:
    int OnRemoteRequest(uint32_t, MessageParcel&, MessageParcel& reply, MessageOption&) override
    {
        return reply.WriteUint32(IPCSkeleton::GetCallingTokenID()) ? IPC_OK : IPC_UNKNOWN_REQUEST;
    }
};

TEST_F(IpcServerTest, CallerIsTheClientInARequestAndTheProcessItselfElsewhere)
{
    constexpr uint32_t SELF_TOKEN = 1;
    IPCSkeleton::SetSelfIdentity(CallerIdentity{::getpid(), ::getuid(), SELF_TOKEN, SELF_TOKEN});
    const auto nested = MakeSptr<NamesItsCaller>();
    Serve([&](const IpcHeader&, MessageParcel& data, MessageParcel& reply) {
        MessageOption option;
        MessageParcel inner;
        uint32_t innerToken = 0;
        EXPECT_EQ(IPCSkeleton::GetCallingTokenID(), TEST_TOKEN);
        EXPECT_EQ(nested->SendRequest(1, data, inner, option), IPC_OK);
        EXPECT_TRUE(inner.ReadUint32(innerToken));
        EXPECT_EQ(innerToken, SELF_TOKEN);
        EXPECT_EQ(std::async(std::launch::async, IPCSkeleton::GetCallingTokenID).get(), SELF_TOKEN);
        EXPECT_EQ(IPCSkeleton::GetCallingFullTokenID(), (1ULL << 32) | TEST_TOKEN);
        EXPECT_EQ(IPCSkeleton::GetCallingUid(), ::getuid());
        return reply.WriteInt32(IPCSkeleton::GetCallingPid()) ? IPC_OK : IPC_UNKNOWN_REQUEST;
    });
    const UniqueFd socket = ConnectRaw();
    ASSERT_TRUE(SendRaw(socket, RequestOf(1)));
    EXPECT_EQ(ReceiveRaw(socket).value, ::getpid());
    EXPECT_EQ(IPCSkeleton::GetCallingTokenID(), SELF_TOKEN);
}

TEST_F(IpcServerTest, SocketFileOfADeadServerIsReplacedAndThatOfALivingOneRefused)
{
    {
        auto dead = ListenOn(options_.socketPath, 0666);
        ASSERT_TRUE(dead);
        ASSERT_TRUE(std::filesystem::exists(options_.socketPath));
    }
    options_.socketMode = 0622;
    ServeEcho();
    struct stat status {};
    ASSERT_EQ(::stat(options_.socketPath.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0622U);  // whatever the umask
    const auto second = IpcServer::Start(options_, nullptr, nullptr);
    ASSERT_FALSE(second);
    EXPECT_EQ(second.Message(), options_.socketPath + ": in use by another process");
    const UniqueFd socket = ConnectRaw();
    ASSERT_TRUE(SendRaw(socket, RequestOf(9)));
    EXPECT_EQ(ReceiveRaw(socket).value, 9);
}

TEST_F(IpcServerTest, SocketPathThatCannotServeIsNamedWithItsCause)
{
    const std::string file = folder_ / "notes";
    std::ofstream(file) << "kept";
    const struct {
        std::string path;
        const char* cause;
    } table[] = {
        {file, "exists and is no socket; remove it or name another path"},
        {folder_ / "missing" / "ipc.sock", "cannot create the socket (No such file or directory)"},
        {std::string(108, 'x'), "a socket path has 1 to 107 characters"},
    };
    for (const auto& row : table) {
        options_.socketPath = row.path;
        const auto server = IpcServer::Start(options_, nullptr, nullptr);
        ASSERT_FALSE(server) << row.path;
        EXPECT_EQ(server.Message(), row.path + ": " + row.cause);
    }
    EXPECT_TRUE(std::filesystem::exists(file));
}

TEST_F(IpcServerTest, AfterStopAcceptingTheSocketIsGoneAndARunningRequestIsAnswered)
{
    ServeGate();
    const UniqueFd socket = ConnectRaw();
    ASSERT_TRUE(SendRaw(socket, RequestOf(1)));
    ASSERT_TRUE(Entered(1));
    server_->StopAccepting();
    EXPECT_FALSE(std::filesystem::exists(options_.socketPath));
    Release();
    EXPECT_EQ(ReceiveRaw(socket).status, IPC_OK);
    EXPECT_TRUE(Eventually([&] { return server_->Counts().threads == 0; }));
}

}  // namespace
}  // namespace Vexo::Ipc
