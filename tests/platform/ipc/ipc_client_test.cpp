#include "platform/ipc/ipc_client.h"

#include "tests/platform/ipc/ipc_test_server.h"

namespace Vexo::Ipc {
namespace {

using namespace std::chrono_literals;

class IpcClientTest : public IpcTestServer {
protected:
    int32_t Call(uint32_t code, std::chrono::milliseconds limit = WAIT_LIMIT)
    {
        return connection_->Transact(TEST_ABILITY, code, data_, reply_, limit);
    }
    std::shared_ptr<IpcConnection> connection_;
};

TEST_F(IpcClientTest, FailedConnectNamesSocketAndCause)
{
    const std::string abandoned = folder_.Path() / "abandoned";
    ASSERT_TRUE(ListenOn(abandoned, 0600));
    EXPECT_EQ(IpcConnection::Connect(abandoned).Message(), abandoned + ": nobody listens");
    EXPECT_EQ(IpcConnection::Connect("missing").Message(), "missing: no such file");
}

TEST_F(IpcClientTest, LateReplyAndAVanishedServerCloseTheConnection)
{
    ServeGate();
    connection_ = Connect();
    EXPECT_EQ(Call(1, 20ms), IPC_TIMED_OUT);
    EXPECT_FALSE(connection_->IsOpen());
    EXPECT_EQ(Call(2), IPC_CLOSED);
    Release();
    connection_ = Connect();
    server_.reset();
    EXPECT_FALSE(connection_->IsOpen());
    EXPECT_EQ(Call(2), IPC_CLOSED);
}

TEST_F(IpcClientTest, CallerThatCannotGetItsTurnTimesOutAndLeavesTheCallUnderWayUntilAClose)
{
    ServeGate();
    connection_ = Connect();
    auto first = std::async(std::launch::async, [connection = connection_] {
        MessageParcel data;
        MessageParcel reply;
        return connection->Transact(TEST_ABILITY, 1, data, reply, WAIT_LIMIT);
    });
    ASSERT_TRUE(Entered(1));
    EXPECT_EQ(Call(2, 20ms), IPC_TIMED_OUT);
    EXPECT_TRUE(connection_->IsOpen());
    connection_->Close();
    EXPECT_EQ(first.get(), IPC_CLOSED);
    Release();
}

TEST_F(IpcClientTest, ReplyThatDoesNotAnswerTheRequestClosesTheConnection)
{
    const std::pair<IpcHeader, size_t> table[] = {
        {{0, TEST_ABILITY, 0}, IPC_HEADER_SIZE},                   // a request
        {{IPC_FLAG_REPLY, TEST_ABILITY + 1, 0}, IPC_HEADER_SIZE},  // of another ability
        {{IPC_FLAG_REPLY, TEST_ABILITY, 0}, IPC_HEADER_SIZE - 1},
        {{IPC_FLAG_REPLY, TEST_ABILITY, 0}, MAX_DATAGRAM_SIZE + 1},
    };
    const auto listener = ListenOn(options_.socketPath, 0600);
    for (const auto& [header, size] : table) {
        connection_ = Connect();
        const UniqueFd peer(::accept(listener.Value().Get(), nullptr, nullptr));
        std::vector<uint8_t> bytes(std::max(size, IPC_HEADER_SIZE));
        EncodeHeader(header, bytes.data());
        bytes.resize(size);
        ASSERT_TRUE(SendRaw(peer, bytes));
        EXPECT_EQ(Call(1), IPC_BAD_DATAGRAM) << header.flags << " " << size;
        EXPECT_FALSE(connection_->IsOpen());
    }
}

}  // namespace
}  // namespace Vexo::Ipc
