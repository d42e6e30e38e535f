#include "distributed/services/service/distnet_service_stub.h"

#include <gtest/gtest.h>

#include "distributed/services/service/distnet_errors.h"
#include "platform/access/policy.h"
#include "platform/ipc/ipc_skeleton.h"
#include "tests/support/log_capture.h"

namespace Vexo::NetManagerStandard {
namespace {

constexpr const char16_t* TOKEN = u"Vexo.NetManagerStandard.IDistNetService";
const std::string PEER(64, 'b');

// Users of the test's policy: a system application with the permission, one without it, an ordinary application.
enum User : uid_t { SYSTEM = 70011, WITHOUT_PERMISSION = 70012, ORDINARY = 70013 };

std::string Bytes(const MessageParcel& parcel)
{
    return {reinterpret_cast<const char*>(parcel.GetData()), parcel.GetDataSize()};
}

class RecordingStub : public DistNetServiceStub {
public:
    int32_t StartService(uint32_t& state) override
    {
        state = 1;
        return Record("start service", 0);
    }
    int32_t ReleaseService(uint32_t& state) override
    {
        state = 2;
        return Record(HasClients() ? "release, others hold it" : "release, the last", 0);
    }
    int32_t StartDistributedNetwork(int32_t a, int32_t b, const std::string& networkId) override
    {
        return Record("start " + std::to_string(a) + " " + std::to_string(b) + " " + networkId, 11);
    }
    int32_t StopDistributedNetwork(int32_t a, int32_t b, const std::string& networkId) override
    {
        return Record("stop " + std::to_string(a) + " " + std::to_string(b) + " " + networkId, 12);
    }
    int32_t GetAvailableDeviceList(std::vector<DmDeviceInfo>& deviceList) override
    {
        deviceList = devices;
        return Record("list", devices.empty() ? DISTNET_ERR_NO_DEVICE : 0);
    }
    int32_t GetRemoteDeviceInfo(std::vector<std::string> items, std::string& result) override
    {
        result = "{}";
        return Record("info " + std::to_string(items.size()), DISTNET_ERR_GENERAL);
    }
    std::vector<DmDeviceInfo> devices;
    std::vector<std::string> calls;

private:
    int32_t Record(const std::string& call, int32_t result)
    {
        calls.push_back(call);
        return result;
    }
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
    const sptr<RecordingStub> stub_ = MakeSptr<RecordingStub>();
    MessageParcel arguments_;
    MessageParcel reply_;
    size_t replyCapacity_ = MAX_PARCEL_SIZE;
};

TEST_F(DistNetServiceStubTest, TokenThatIsNotExactlyTheDescriptorIsRefused)
{
    const std::u16string token = TOKEN;
    std::u16string changed = token;
    changed[20] = u'?';
    for (const std::u16string& wrong : {changed, token + u'x', token.substr(1), std::u16string()}) {
        arguments_.Clear();
        arguments_.WriteInterfaceToken(wrong);
        EXPECT_EQ(Request(0), IPC_UNKNOWN_REQUEST);
        EXPECT_EQ(NextInt(), 1004500108);
    }
    arguments_.Clear();
    EXPECT_EQ(Request(0), IPC_UNKNOWN_REQUEST) << "no token at all";
    EXPECT_EQ(log_.Count(" descriptor checked fail"), 5U);
    EXPECT_TRUE(stub_->calls.empty());
}

TEST_F(DistNetServiceStubTest, UnknownCodeGoesToTheDefaultHandlerWithoutAReply)
{
    for (const uint32_t code : {5U, 1000U, 1002U, 0xffffffffU}) {
        EXPECT_EQ(Request(code, ORDINARY), IPC_UNKNOWN_REQUEST) << code;
        EXPECT_EQ(reply_.GetDataSize(), 0U) << code;
    }
}

TEST_F(DistNetServiceStubTest, CallerIsRefusedBeforeItsArgumentsAreRead)
{
    for (const uint32_t code : {0U, 1U, 2U, 3U, 4U, 1001U}) {
        EXPECT_EQ(Request(code, ORDINARY), IPC_UNKNOWN_REQUEST) << code;
        EXPECT_EQ(NextInt(), 201) << code;
        EXPECT_FALSE(log_.Contains("permission")) << "the flag is asked first";
    }
    EXPECT_EQ(log_.Count(" not system APP!"), 6U);
    for (const uint32_t code : {0U, 1U, 2U, 3U, 4U, 1001U}) {
        EXPECT_EQ(Request(code, WITHOUT_PERMISSION), IPC_UNKNOWN_REQUEST) << code;
        EXPECT_EQ(NextInt(), 201) << code;
    }
    EXPECT_EQ(log_.Count(" permission denied!"), 6U);
    EXPECT_TRUE(stub_->calls.empty());
}

TEST_F(DistNetServiceStubTest, FullReplyTurnsARefusalInto301AndAnAnswerInto1004500105)
{
    struct Case {
        uint32_t code;
        User user;
        size_t capacity;
        int expected;
    };
    arguments_.WriteInt32(1);
    arguments_.WriteInt32(2);
    arguments_.WriteString(PEER);
    stub_->devices.resize(1);
    for (const Case& c :
         {Case{0, ORDINARY, 3, 301}, Case{0, WITHOUT_PERMISSION, 3, 301}, Case{0, SYSTEM, 0, 1004500105},
          Case{0, SYSTEM, 4, 1004500105}, Case{1, SYSTEM, 7, 1004500105}, Case{2, SYSTEM, 3, 1004500105},
          Case{3, SYSTEM, 3, 1004500105}, Case{4, SYSTEM, 3, 1004500105}, Case{4, SYSTEM, 4, 1004500105},
          Case{4, SYSTEM, 30, 1004500105}}) {
        replyCapacity_ = c.capacity;
        EXPECT_EQ(Request(c.code, c.user), c.expected) << c.code << " with " << c.capacity << " bytes";
    }
    EXPECT_EQ(log_.Count(" OngetAvailableDeviceList DmDeviceInfoMarshalling fail"), 2U);
    arguments_.Clear();
    arguments_.WriteInterfaceToken(u"x");
    replyCapacity_ = 3;
    EXPECT_EQ(Request(0), 301);
}

TEST_F(DistNetServiceStubTest, MissingArgumentIsReportedAndNothingIsCalled)
{
    arguments_.WriteInt32(1);
    for (const uint32_t code : {2U, 3U, 1001U}) {
        EXPECT_EQ(Request(code), 1004500103) << code;
        EXPECT_EQ(reply_.GetDataSize(), 0U) << code;
    }
    EXPECT_TRUE(stub_->calls.empty());
}

TEST_F(DistNetServiceStubTest, ArgumentsAndAnswersTravelInOrder)
{
    EXPECT_EQ(Request(0), 0);
    EXPECT_EQ(NextInt(), 0);
    EXPECT_EQ(NextInt(), 1) << "the state";
    arguments_.WriteInt32(3);
    arguments_.WriteInt32(-4);
    arguments_.WriteString(PEER);
    EXPECT_EQ(Request(2), 0);
    EXPECT_EQ(NextInt(), 11);
    EXPECT_EQ(Request(3), 0);
    EXPECT_EQ(NextInt(), 12);

    arguments_.Clear();
    arguments_.WriteInterfaceToken(TOKEN);
    arguments_.WriteStringVector({"bssid", "bssid"});
    EXPECT_EQ(Request(1001), 0);
    EXPECT_EQ(NextString(), "{}") << "the text alone, although the operation failed";
    EXPECT_TRUE(log_.Contains(" GetRemoteDeviceInfo fail"));
    EXPECT_EQ(stub_->calls,
              (std::vector<std::string>{"start service", "start 3 -4 " + PEER, "stop 3 -4 " + PEER, "info 2"}));
}

TEST_F(DistNetServiceStubTest, DeviceListFollowsItsResultEvenWhenEmpty)
{
    EXPECT_EQ(Request(4), 0);
    EXPECT_EQ(NextInt(), 1004500001);
    EXPECT_EQ(NextInt(), 0);
    EXPECT_EQ(reply_.GetReadableBytes(), 0U);

    DmDeviceInfo device;
    std::string("device-1").copy(device.deviceId, 8);
    std::string("phone").copy(device.deviceName, 5);
    PEER.copy(device.networkId, PEER.size());
    device.deviceTypeId = 14;
    device.range = -1;
    device.networkType = 2;
    device.authForm = DistributedHardware::IDENTICAL_ACCOUNT;
    device.extraData = "{}";
    stub_->devices = {device};
    EXPECT_EQ(Request(4), 0);
    MessageParcel expected;
    expected.WriteInt32(0);
    expected.WriteUint32(1);
    expected.WriteString("device-1");
    expected.WriteString("phone");
    expected.WriteUint16(14);
    expected.WriteString(PEER);
    expected.WriteInt32(-1);
    expected.WriteInt32(2);
    expected.WriteInt32(1);
    expected.WriteString("{}");
    EXPECT_EQ(Bytes(reply_), Bytes(expected));
}

TEST_F(DistNetServiceStubTest, ClientHoldsTheServiceFromItsFirstRequestToItsRelease)
{
    Request(0, SYSTEM, 100);
    Request(4, SYSTEM, 200);
    Request(0, ORDINARY, 300);  // refused: holds nothing
    Request(1, SYSTEM, 100);
    Request(1, SYSTEM, 200);
    EXPECT_EQ(stub_->calls,
              (std::vector<std::string>{"start service", "list", "release, others hold it", "release, the last"}));
}

}  // namespace
}  // namespace Vexo::NetManagerStandard
