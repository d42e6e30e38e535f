#include "platform/ipc/ipc_server.h"

#include <unistd.h>

#include <algorithm>
#include <fstream>

#include "platform/ipc/iremote_object.h"
#include "platform/ipc/later_reply.h"
#include "tests/platform/ipc/ipc_test_server.h"

namespace Vexo::Ipc {
namespace {

using IpcServerTest = IpcTestServer;

TEST_F(IpcServerTest, LargestParcelIsSentBothWaysAlsoWithRefusal)
{
    Serve([](const IpcHeader&, MessageParcel& data, MessageParcel& reply) {
        std::string text;
        return data.ReadString(text) && reply.WriteString(text) ? IPC_UNKNOWN_REQUEST : IPC_OK;
    });
    const std::string text(MAX_PARCEL_SIZE - 8, 'x');
    std::string echoed;
    ASSERT_TRUE(data_.WriteString(text));
    EXPECT_EQ(Connect()->Transact(TEST_ABILITY, 1, data_, reply_, WAIT_LIMIT), IPC_UNKNOWN_REQUEST);
    EXPECT_TRUE(reply_.ReadString(echoed));
    EXPECT_TRUE(echoed == text);
}

TEST_F(IpcServerTest, BlockedRequestsDelayOthersOnlyAtThreadLimit)
{
    options_.maxThreads = 65;
    ServeGate();
    std::vector<UniqueFd> blocked(64);
    std::generate(blocked.begin(), blocked.end(), [this] { return Send(); });
    EXPECT_TRUE(Entered(64));
    EXPECT_EQ(ReceiveRaw(Send(2)).status, IPC_OK);
    blocked.push_back(Send());
    EXPECT_TRUE(Entered(65));
    blocked.push_back(Send());
    EXPECT_EQ(server_->Counts().threads, 65U);
    Release();
    for (const UniqueFd& socket : blocked) {
        EXPECT_EQ(ReceiveRaw(socket).status, IPC_OK);
    }
}

TEST_F(IpcServerTest, HandlerExceptionYieldsErrorReply)
{
    Serve([](const IpcHeader&, MessageParcel&, MessageParcel&) -> int32_t { throw std::runtime_error("broken"); });
    EXPECT_EQ(ReceiveRaw(Send()).status, IPC_HANDLER_FAILED);
}

TEST_F(IpcServerTest, LateReplyOrVanishedServerClosesConnection)
{
    ServeGate();
    auto connection = Connect();
    EXPECT_EQ(connection->Transact(TEST_ABILITY, 1, data_, reply_, std::chrono::milliseconds(20)), IPC_TIMED_OUT);
    EXPECT_EQ(connection->Transact(TEST_ABILITY, 2, data_, reply_, WAIT_LIMIT), IPC_CLOSED);
    Release();
    connection = Connect();
    server_.reset();
    EXPECT_FALSE(connection->IsOpen());
}

TEST_F(IpcServerTest, FileAtSocketPathIsKept)
{
    options_.socketPath = folder_.Path() / "notes";
    std::ofstream(options_.socketPath) << "kept";
    EXPECT_FALSE(IpcServer::Start(options_, nullptr, nullptr));
    EXPECT_TRUE(std::filesystem::exists(options_.socketPath));
}

// A stub that the server calls inside the process while the server handles a request. Replies with the token of the
// stub's caller. LaterReply::Take() must fail inside the stub.
class NestedStub : public IPCObjectStub {
public:
    int OnRemoteRequest(uint32_t, MessageParcel&, MessageParcel& reply, MessageOption&) override
    {
        EXPECT_EQ(LaterReply::Take(), nullptr);
        return reply.WriteUint32(IPCSkeleton::GetCallingTokenID()) ? IPC_OK : IPC_UNKNOWN_REQUEST;
    }
};

TEST_F(IpcServerTest, CallerIsClientInRequestAndProcessItselfElsewhere)
{
    constexpr uint32_t SELF_TOKEN = 1;
    IPCSkeleton::SetSelfIdentity(CallerIdentity{::getpid(), ::getuid(), SELF_TOKEN, SELF_TOKEN});
    const auto nested = MakeSptr<NestedStub>();
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
    EXPECT_EQ(ReceiveRaw(Send()).value, ::getpid());
    EXPECT_EQ(IPCSkeleton::GetCallingTokenID(), SELF_TOKEN);
}

}  // namespace
}  // namespace Vexo::Ipc
