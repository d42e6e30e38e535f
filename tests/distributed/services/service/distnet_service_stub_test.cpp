#include "distributed/services/service/distnet_service_stub.h"

#include <gmock/gmock.h>

#include "platform/access/policy.h"
#include "platform/ipc/ipc_skeleton.h"
#include "tests/support/log_capture.h"

namespace Vexo::NetManagerStandard {
namespace {

using testing::_;
using testing::DoAll;
using testing::Return;
using testing::SetArgReferee;

constexpr const char16_t* TOKEN = u"Vexo.NetManagerStandard.IDistNetService";
constexpr uint32_t CODES[] = {0, 1, 2, 3, 4, 1001};
const std::string PEER(64, 'b');

// Users of the test's policy: a system application with the permission, one without it, an ordinary application.
enum User : uid_t { SYSTEM = 70011, WITHOUT_PERMISSION = 70012, ORDINARY = 70013 };

class MockStub : public DistNetServiceStub {
public:
    MOCK_METHOD(int32_t, StartService, (uint32_t&), (override));
    MOCK_METHOD(int32_t, ReleaseService, (uint32_t&), (override));
    MOCK_METHOD(int32_t, StartDistributedNetwork, (int32_t, int32_t, const std::string&), (override));
    MOCK_METHOD(int32_t, StopDistributedNetwork, (int32_t, int32_t, const std::string&), (override));
    MOCK_METHOD(int32_t, GetAvailableDeviceList, (std::vector<DmDeviceInfo>&), (override));
    MOCK_METHOD(int32_t, GetRemoteDeviceInfo, (std::vector<std::string>, std::string&), (override));
    using DistNetServiceStub::HasClients;
};

class DistNetServiceStubTest : public testing::Test {
protected:
    DistNetServiceStubTest()
    {
        using namespace Security;
        const std::vector<std::string> permission{"vexo.permission.CONNECTIVITY_INTERNAL"};
        InstallAccessPolicy({{{std::to_string(SYSTEM), "", TOKEN_HAP, APL_SYSTEM_BASIC, true, permission},
                              {std::to_string(WITHOUT_PERMISSION), "", TOKEN_HAP, APL_SYSTEM_BASIC, true, {}},
                              {std::to_string(ORDINARY), "", TOKEN_HAP, APL_SYSTEM_BASIC, false, {}}}});
        arguments_.WriteInterfaceToken(TOKEN);
    }
    void WriteNetworkArguments()
    {
        arguments_.WriteInt32(3);
        arguments_.WriteInt32(-4);
        arguments_.WriteString(PEER);
    }
    int Request(uint32_t code, User user = SYSTEM, pid_t pid = 100)
    {
        const CallerScope caller(Security::IdentifyCaller({pid, user, user, {}}));
        MessageParcel data;
        data.ParseFrom(arguments_.GetData(), arguments_.GetDataSize());
        reply_ = MessageParcel();
        reply_.SetMaxCapacity(replyCapacity_);
        MessageOption option;
        return stub_->OnRemoteRequest(code, data, reply_, option);
    }
    int32_t NextInt()
    {
        int32_t value = -1;
        EXPECT_TRUE(reply_.ReadInt32(value));
        return value;
    }
    std::string NextString()
    {
        std::string value;
        EXPECT_TRUE(reply_.ReadString(value));
        return value;
    }

    const Tests::LogCapture log_;
    // Strict: a request that is refused calls nothing.
    const sptr<testing::StrictMock<MockStub>> stub_ = MakeSptr<testing::StrictMock<MockStub>>();
    MessageParcel arguments_;
    MessageParcel reply_;
    size_t replyCapacity_ = MAX_PARCEL_SIZE;
};

TEST_F(DistNetServiceStubTest, TokenThatIsNotExactlyTheDescriptorIsRefused)
{
    const std::u16string token = TOKEN;
    for (const std::u16string& wrong : {token + u'x', token.substr(1), u'v' + token.substr(1), std::u16string()}) {
        arguments_.Clear();
        arguments_.WriteInterfaceToken(wrong);
        EXPECT_EQ(Request(0), IPC_UNKNOWN_REQUEST);
        EXPECT_EQ(NextInt(), 1004500108);
    }
    arguments_.Clear();
    EXPECT_EQ(Request(0, ORDINARY), IPC_UNKNOWN_REQUEST) << "no token at all";
    EXPECT_EQ(NextInt(), 1004500108);
}

TEST_F(DistNetServiceStubTest, CodeThenFlagThenPermissionThenArgumentsAreChecked)
{
    for (const uint32_t code : {5U, 1000U, 1002U, 0xffffffffU}) {
        EXPECT_EQ(Request(code, ORDINARY), IPC_UNKNOWN_REQUEST) << code;
        EXPECT_EQ(reply_.GetDataSize(), 0U) << code;
    }
    for (const User user : {ORDINARY, WITHOUT_PERMISSION}) {
        for (const uint32_t code : CODES) {
            EXPECT_EQ(Request(code, user), IPC_UNKNOWN_REQUEST) << code;
            EXPECT_EQ(NextInt(), 201) << code;
        }
        EXPECT_EQ(log_.Count(" permission denied!"), user == ORDINARY ? 0U : 6U);
    }
    EXPECT_EQ(log_.Count(" not system APP!"), 6U);
    arguments_.WriteInt32(1);
    for (const uint32_t code : {2U, 3U, 1001U}) {
        EXPECT_EQ(Request(code), 1004500103) << code;
        EXPECT_EQ(reply_.GetDataSize(), 0U) << code;
    }
}

TEST_F(DistNetServiceStubTest, FullReplyTurnsARefusalInto301AndAnAnswerInto1004500105)
{
    WriteNetworkArguments();
    EXPECT_CALL(*stub_, StartService).Times(2);
    EXPECT_CALL(*stub_, ReleaseService);
    EXPECT_CALL(*stub_, StartDistributedNetwork);
    EXPECT_CALL(*stub_, StopDistributedNetwork);
    EXPECT_CALL(*stub_, GetAvailableDeviceList)
        .WillRepeatedly(DoAll(SetArgReferee<0>(std::vector<DmDeviceInfo>(1)), Return(0)));
    for (const auto& [code, capacity] :
         std::vector<std::pair<uint32_t, size_t>>{{0, 0}, {0, 4}, {1, 7}, {2, 3}, {3, 3}, {4, 3}, {4, 4}, {4, 30}}) {
        replyCapacity_ = capacity;
        EXPECT_EQ(Request(code), 1004500105) << code << " with " << capacity << " bytes";
    }
    replyCapacity_ = 3;
    EXPECT_EQ(Request(0, ORDINARY), 301);
    EXPECT_EQ(Request(0, WITHOUT_PERMISSION), 301);
    arguments_.Clear();
    EXPECT_EQ(Request(0), 301);
}

TEST_F(DistNetServiceStubTest, ArgumentsAndAnswersTravelInOrder)
{
    EXPECT_CALL(*stub_, StartService).WillOnce(DoAll(SetArgReferee<0>(6), Return(5)));
    EXPECT_EQ(Request(0), 0);
    EXPECT_EQ(NextInt(), 5);
    EXPECT_EQ(NextInt(), 6) << "the state";
    WriteNetworkArguments();
    EXPECT_CALL(*stub_, StartDistributedNetwork(3, -4, PEER)).WillOnce(Return(11));
    EXPECT_EQ(Request(2), 0);
    EXPECT_EQ(NextInt(), 11);
    EXPECT_CALL(*stub_, StopDistributedNetwork(3, -4, PEER)).WillOnce(Return(12));
    EXPECT_EQ(Request(3), 0);
    EXPECT_EQ(NextInt(), 12);

    arguments_.Clear();
    arguments_.WriteInterfaceToken(TOKEN);
    const std::vector<std::string> items{"bssid", "bssid"};
    arguments_.WriteStringVector(items);
    EXPECT_CALL(*stub_, GetRemoteDeviceInfo(items, _)).WillOnce(DoAll(SetArgReferee<1>("{}"), Return(2200003)));
    EXPECT_EQ(Request(1001), 0);
    EXPECT_EQ(NextString(), "{}") << "the text alone, although the operation failed";
}

TEST_F(DistNetServiceStubTest, DeviceListFollowsItsResultEvenWhenEmpty)
{
    DmDeviceInfo device{.deviceId = "device-1",
                        .deviceName = "phone",
                        .deviceTypeId = 14,
                        .range = -1,
                        .networkType = 2,
                        .authForm = DistributedHardware::IDENTICAL_ACCOUNT,
                        .extraData = "{}"};
    PEER.copy(device.networkId, PEER.size());
    EXPECT_CALL(*stub_, GetAvailableDeviceList)
        .WillOnce(Return(1004500001))
        .WillOnce(DoAll(SetArgReferee<0>(std::vector{device}), Return(0)));
    EXPECT_EQ(Request(4), 0);
    EXPECT_EQ(NextInt(), 1004500001);
    EXPECT_EQ(NextInt(), 0);
    EXPECT_EQ(reply_.GetReadableBytes(), 0U);

    EXPECT_EQ(Request(4), 0);
    EXPECT_EQ(NextInt(), 0);
    EXPECT_EQ(NextInt(), 1) << "the count";
    EXPECT_EQ(NextString(), "device-1");
    EXPECT_EQ(NextString(), "phone");
    uint16_t type = 0;
    EXPECT_TRUE(reply_.ReadUint16(type));
    EXPECT_EQ(type, 14);
    EXPECT_EQ(NextString(), PEER);
    for (const int32_t value : {-1, 2, 1}) {  // the range, the network type and the form of authentication
        EXPECT_EQ(NextInt(), value);
    }
    EXPECT_EQ(NextString(), "{}");
    EXPECT_EQ(reply_.GetReadableBytes(), 0U);
}

TEST_F(DistNetServiceStubTest, ClientHoldsTheServiceFromItsFirstRequestToItsRelease)
{
    EXPECT_CALL(*stub_, StartService);
    EXPECT_CALL(*stub_, GetAvailableDeviceList);
    EXPECT_CALL(*stub_, ReleaseService).WillRepeatedly([this](uint32_t&) { return stub_->HasClients() ? 1 : 0; });
    Request(0, SYSTEM, 100);
    Request(4, SYSTEM, 200);
    Request(0, ORDINARY, 300);  // refused: holds nothing
    for (const pid_t client : {100, 200}) {
        Request(1, SYSTEM, client);
        EXPECT_EQ(NextInt(), client == 100 ? 1 : 0) << "whether somebody still holds it";
    }
}

}  // namespace
}  // namespace Vexo::NetManagerStandard
