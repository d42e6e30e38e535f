// Tests the client library with a daemon whose replies are scripted. The tests cover every result of a call, and
// hostile replies.

#include "client/distnet_client.h"

#include <gtest/gtest.h>

#include "tests/platform/ipc/ipc_test_server.h"

namespace Vexo::Client {
namespace {

class ClientTest : public Ipc::IpcTestServer {
protected:
    std::unique_ptr<DistNetClient> ConnectClient() const
    {
        CallResult result;
        auto client = DistNetClient::Connect(options_.socketPath, result);
        EXPECT_NE(client, nullptr) << result.message;
        return client;
    }
};

TEST_F(ClientTest, EachReplyHasItsCallStatusAndDamagedOneYieldsNoData)
{
    struct Row {
        const char* name;
        int32_t status;
        std::function<bool(MessageParcel&)> write;
        CallStatus callStatus;
        int32_t code = 0;
    };
    const auto nothing = [](MessageParcel&) { return true; };
    const auto number = [](int32_t value) { return [value](MessageParcel& reply) { return reply.WriteInt32(value); }; };
    const auto devices = [](uint32_t count, const std::string& text) {
        return [=](auto& reply) { return reply.WriteInt32(0) && reply.WriteUint32(count) && reply.WriteString(text); };
    };
    const std::vector<Row> table{
        {"refused", IPC_UNKNOWN_REQUEST, number(201), CallStatus::REFUSED, 201},
        {"wrong token", IPC_UNKNOWN_REQUEST, number(1004500108), CallStatus::ANSWERED, 1004500108},
        {"unknown code", IPC_UNKNOWN_REQUEST, nothing, CallStatus::BAD_ANSWER},
        {"not loaded", IPC_ABILITY_UNAVAILABLE, nothing, CallStatus::NOT_LOADED},
        {"arguments not read", 1004500103, nothing, CallStatus::ANSWERED, 1004500103},
        {"empty", 0, nothing, CallStatus::BAD_ANSWER},
        {"no list", 0, number(0), CallStatus::BAD_ANSWER},
        {"huge count", 0, devices(0xFFFFFFFF, ""), CallStatus::BAD_ANSWER},
        {"cut off", 0, devices(1, std::string(60, 'x')), CallStatus::BAD_ANSWER},
    };
    std::atomic<const Row*> row{nullptr};
    Serve([&](const Ipc::IpcHeader&, MessageParcel&, MessageParcel& reply) {
        EXPECT_TRUE(row.load()->write(reply));
        return row.load()->status;
    });
    const auto client = ConnectClient();
    for (const Row& next : table) {
        SCOPED_TRACE(next.name);
        row = &next;
        std::vector<Device> list;
        const CallResult result = client->GetAvailableDeviceList(list);
        EXPECT_EQ(result.status, next.callStatus) << result.message;
        EXPECT_EQ(result.code, next.code);
        EXPECT_FALSE(result.message.empty());
        EXPECT_TRUE(list.empty());
    }
}

TEST_F(ClientTest, DamagedAnswerIsReportedAndIgnored)
{
    Serve([](const Ipc::IpcHeader&, MessageParcel&, MessageParcel& reply) {
        return reply.WriteInt32(0) && reply.WriteString(R"({"devices":[{"name":"phone"}]})") ? 0 : -1;
    });
    std::vector<Host::KnownDevice> devices;
    const CallResult result = ConnectClient()->GetDevices(devices);
    EXPECT_EQ(result.status, CallStatus::BAD_ANSWER);
    EXPECT_NE(result.message.find("devices[0].type is missing"), std::string::npos) << result.message;
    EXPECT_TRUE(devices.empty());
}

}  // namespace
}  // namespace Vexo::Client
