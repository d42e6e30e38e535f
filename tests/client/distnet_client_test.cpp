// The client library against a daemon that answers by script: every way a call can end, hostile replies included.

#include "client/distnet_client.h"

#include <gtest/gtest.h>

#include <future>

#include "platform/ipc/ipc_server.h"
#include "platform/ipc/ipc_types.h"
#include "tests/support/temp_folder.h"

namespace Vexo::Client {
namespace {

using Script = std::function<int32_t(const Ipc::IpcHeader&, MessageParcel&, MessageParcel&)>;

class ClientTest : public testing::Test {
protected:
    void Serve(Script script)
    {
        Ipc::IpcServerOptions options;
        options.socketPath = Socket();
        auto server = Ipc::IpcServer::Start(
            options,
            [](const PeerCredentials& peer) {
                return CallerIdentity{peer.pid, peer.uid, 1, 1};
            },
            std::move(script));
        ASSERT_TRUE(server) << server.error().message;
        server_ = std::move(server.value());
    }

    std::unique_ptr<DistNetClient> Connect()
    {
        CallResult result;
        auto client = DistNetClient::Connect(Socket(), result);
        EXPECT_NE(client, nullptr) << result.message;
        return client;
    }

    std::string Socket() const { return (folder_.Path() / "ipc.sock").string(); }

    const Tests::TempFolder folder_;
    std::unique_ptr<Ipc::IpcServer> server_;
};

struct ReplyRow {
    const char* name;
    int32_t status;
    std::function<void(MessageParcel&)> write;
    CallStatus callStatus;
    int32_t code;
};

void PrintTo(const ReplyRow& row, std::ostream* out)
{
    *out << row.name;
}

class ReplyTest : public ClientTest, public testing::WithParamInterface<ReplyRow> {};

TEST_P(ReplyTest, TurnsIntoItsCallStatus)
{
    const ReplyRow& row = GetParam();
    Serve([&](const Ipc::IpcHeader&, MessageParcel&, MessageParcel& reply) {
        row.write(reply);
        return row.status;
    });
    const auto client = Connect();
    std::vector<Device> devices;
    const CallResult result = client->GetAvailableDeviceList(devices);
    EXPECT_EQ(result.status, row.callStatus) << result.message;
    EXPECT_EQ(result.code, row.code);
    EXPECT_FALSE(result.message.empty());
    EXPECT_TRUE(devices.empty());
}

INSTANTIATE_TEST_SUITE_P(
    Replies, ReplyTest,
    testing::Values(
        ReplyRow{"Refused", IPC_UNKNOWN_REQUEST, [](auto& reply) { reply.WriteInt32(201); }, CallStatus::REFUSED, 201},
        ReplyRow{"WrongToken", IPC_UNKNOWN_REQUEST, [](auto& reply) { reply.WriteInt32(1004500108); },
                 CallStatus::ANSWERED, 1004500108},
        ReplyRow{"UnknownCode", IPC_UNKNOWN_REQUEST, [](auto&) {}, CallStatus::BAD_ANSWER, 0},
        ReplyRow{"NotLoaded", IPC_ABILITY_UNAVAILABLE, [](auto&) {}, CallStatus::NOT_LOADED, 0},
        ReplyRow{"ArgumentsUnread", 1004500103, [](auto&) {}, CallStatus::ANSWERED, 1004500103},
        ReplyRow{"Empty", 0, [](auto&) {}, CallStatus::BAD_ANSWER, 0},
        ReplyRow{"NoList", 0, [](auto& reply) { reply.WriteInt32(0); }, CallStatus::BAD_ANSWER, 0},
        ReplyRow{"HugeCount", 0, [](auto& reply) { (void)(reply.WriteInt32(0) && reply.WriteUint32(0xFFFFFFFF)); },
                 CallStatus::BAD_ANSWER, 0},
        ReplyRow{"CutOff", 0,
                 [](auto& reply) {
                     (void)(reply.WriteInt32(0) && reply.WriteUint32(1) && reply.WriteString(std::string(60, 'x')));
                 },
                 CallStatus::BAD_ANSWER, 0}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(ClientTest, AnAnswerThatIsNotWhatItShouldBeIsNamedAndNothingOfItIsTaken)
{
    Serve([](const Ipc::IpcHeader&, MessageParcel&, MessageParcel& reply) {
        return reply.WriteInt32(0) && reply.WriteString(R"({"devices":[{"name":"phone"}]})") ? 0 : -1;
    });
    std::vector<Host::KnownDevice> devices;
    const CallResult result = Connect()->GetDevices(devices);
    EXPECT_EQ(result.status, CallStatus::BAD_ANSWER);
    EXPECT_NE(result.message.find("devices[0].type is missing"), std::string::npos) << result.message;
    EXPECT_TRUE(devices.empty());
}

TEST_F(ClientTest, ADaemonThatIsSilentEndsTheCallAtItsLimitAndTheNextSaysSo)
{
    std::promise<void> release;
    const auto released = release.get_future().share();
    Serve([released](const Ipc::IpcHeader&, MessageParcel&, MessageParcel&) {
        released.wait();
        return 0;
    });
    const auto client = Connect();
    client->SetLimit(std::chrono::milliseconds(50));
    Host::HostStatus status;
    EXPECT_EQ(client->GetStatus(status).status, CallStatus::TIMED_OUT);
    EXPECT_EQ(client->GetStatus(status).status, CallStatus::UNREACHABLE);
    release.set_value();
}

}  // namespace
}  // namespace Vexo::Client
