#include "distributed/services/service/distnet_service_stub.h"

#include <gmock/gmock.h>

#include "platform/access/policy.h"
#include "platform/ipc/ipc_skeleton.h"

namespace Vexo::NetManagerStandard {
namespace {

using testing::_;
using testing::DoAll;
using testing::Return;
using testing::SetArgReferee;

constexpr const char16_t* TOKEN = u"Vexo.NetManagerStandard.IDistNetService";

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

    // Strict: a request that is refused calls nothing.
    const sptr<testing::StrictMock<MockStub>> stub_ = MakeSptr<testing::StrictMock<MockStub>>();
    MessageParcel arguments_;
    MessageParcel reply_;
    size_t replyCapacity_ = MAX_PARCEL_SIZE;
};

TEST_F(DistNetServiceStubTest, FullReplyTurnsARefusalInto301AndAnAnswerInto1004500105)
{
    arguments_.WriteInt32(3);
    arguments_.WriteInt32(-4);
    arguments_.WriteString("peer");
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

TEST_F(DistNetServiceStubTest, QueryAnswersWithItsTextAloneEvenWhenItFails)
{
    const std::vector<std::string> items{"bssid", "bssid"};
    arguments_.WriteStringVector(items);
    EXPECT_CALL(*stub_, GetRemoteDeviceInfo(items, _)).WillOnce(DoAll(SetArgReferee<1>("{}"), Return(2200003)));
    EXPECT_EQ(Request(1001), 0);
    std::string text;
    EXPECT_TRUE(reply_.ReadString(text));
    EXPECT_EQ(text, "{}");
}

}  // namespace
}  // namespace Vexo::NetManagerStandard
