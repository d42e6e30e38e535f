#include "platform/ipc/ipc_client.h"

#include <future>

#include "tests/platform/ipc/ipc_test_server.h"

namespace Vexo::Ipc {
namespace {

class IpcClientTest : public IpcTestServer {
protected:
    std::future<int32_t> CallGate(const std::shared_ptr<IpcConnection>& connection)
    {
        return std::async(std::launch::async, [connection] {
            MessageParcel data;
            MessageParcel reply;
            return connection->Transact(TEST_ABILITY, 1, data, reply, PATIENCE);
        });
    }

    MessageParcel data_;
    MessageParcel reply_;
};

TEST_F(IpcClientTest, FailedConnectNamesSocketAndCause)
{
    const std::string abandoned = folder_ / "abandoned";
    ASSERT_TRUE(ListenOn(abandoned, 0600));
    const struct {
        std::string path;
        const char* cause;
    } table[] = {{folder_ / "missing", "no such file"}, {abandoned, "nobody listens"}};
    for (const auto& row : table) {
        const auto connection = IpcConnection::Connect(row.path);
        ASSERT_FALSE(connection);
        EXPECT_EQ(connection.Message(), row.path + ": " + row.cause);
    }
}

TEST_F(IpcClientTest, ProxySendsToItsAbilityAndNoticesAVanishedServer)
{
    ServeEcho();
    const auto connection = Connect();
    const auto proxy = MakeSptr<RemoteProxy>(connection, TEST_ABILITY, PATIENCE);
    MessageOption option;
    int32_t value = 0;
    ASSERT_TRUE(data_.WriteInt32(11));
    EXPECT_EQ(proxy->SendRequest(1, data_, reply_, option), IPC_OK);
    EXPECT_TRUE(reply_.ReadInt32(value));
    EXPECT_EQ(value, 11);
    server_.reset();
    EXPECT_FALSE(connection->IsOpen());
    EXPECT_EQ(proxy->SendRequest(1, data_, reply_, option), IPC_CLOSED);
}

TEST_F(IpcClientTest, LateReplyClosesTheConnection)
{
    ServeGate();
    const auto connection = Connect();
    EXPECT_EQ(connection->Transact(TEST_ABILITY, 1, data_, reply_, std::chrono::milliseconds(20)), IPC_TIMED_OUT);
    EXPECT_FALSE(connection->IsOpen());
    EXPECT_EQ(connection->Transact(TEST_ABILITY, 2, data_, reply_, PATIENCE), IPC_CLOSED);
    Release();
}

TEST_F(IpcClientTest, CallerThatCannotGetItsTurnTimesOutAndLeavesTheConnectionOpen)
{
    ServeGate();
    const auto connection = Connect();
    std::future<int32_t> first = CallGate(connection);
    ASSERT_TRUE(Entered(1));
    EXPECT_EQ(connection->Transact(TEST_ABILITY, 2, data_, reply_, std::chrono::milliseconds(20)), IPC_TIMED_OUT);
    Release();
    EXPECT_EQ(first.get(), IPC_OK);
    EXPECT_EQ(connection->Transact(TEST_ABILITY, 2, data_, reply_, PATIENCE), IPC_OK);
}

TEST_F(IpcClientTest, CloseEndsTheCallUnderWay)
{
    ServeGate();
    const auto connection = Connect();
    std::future<int32_t> call = CallGate(connection);
    ASSERT_TRUE(Entered(1));
    connection->Close();
    EXPECT_EQ(call.get(), IPC_CLOSED);
    Release();
}

TEST_F(IpcClientTest, ReplyThatDoesNotAnswerTheRequestClosesTheConnection)
{
    const struct {
        const char* fault;
        IpcHeader header;
        size_t size;
    } table[] = {{"a request", {0, TEST_ABILITY, 0}, IPC_HEADER_SIZE},
                 {"of another ability", {IPC_FLAG_REPLY, TEST_ABILITY + 1, 0}, IPC_HEADER_SIZE},
                 {"cut short", {IPC_FLAG_REPLY, TEST_ABILITY, 0}, IPC_HEADER_SIZE - 1},
                 {"oversized", {IPC_FLAG_REPLY, TEST_ABILITY, 0}, MAX_DATAGRAM_SIZE + 1}};
    const auto listener = ListenOn(options_.socketPath, 0600);
    ASSERT_TRUE(listener);
    for (const auto& row : table) {
        SCOPED_TRACE(row.fault);
        const auto connection = Connect();
        const UniqueFd peer(::accept(listener.Value().Get(), nullptr, nullptr));
        ASSERT_TRUE(peer);
        std::vector<uint8_t> bytes(std::max(row.size, IPC_HEADER_SIZE));
        EncodeHeader(row.header, bytes.data());
        bytes.resize(row.size);
        ASSERT_TRUE(SendRaw(peer, bytes));
        EXPECT_EQ(connection->Transact(TEST_ABILITY, 1, data_, reply_, PATIENCE), IPC_BAD_DATAGRAM);
        EXPECT_FALSE(connection->IsOpen());
    }
}

}  // namespace
}  // namespace Vexo::Ipc
