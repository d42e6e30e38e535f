#include "distributed/services/service/distnet_service.h"

#include <gmock/gmock.h>

#include "distributed/services/link/soft_bus_adapter.h"
#include "platform/collaboration/collaboration_ability.h"
#include "tests/distributed/services/service/service_fixture.h"
#include "tests/support/fake_soft_bus.h"

namespace Vexo::NetManagerStandard {
namespace {

using namespace CollaborationFwk;
using testing::ElementsAre;
using testing::IsEmpty;

const std::string PEER(64, 'c');

class FakeCollaboration : public IPCObjectStub, public ICollaborationService {
public:
    int32_t startCode = 0;
    StartResult StartCollaboration(int32_t, const sptr<TargetInfo>&) override
    {
        return {startCode, startCode == 0 ? 1 : 0};
    }
    int32_t StopCollaboration(int32_t) override { return 0; }
    int32_t GetCollaborationStartInfos(int32_t, std::vector<sptr<StartInfo>>&) override { return 0; }
    int32_t RegisterCollaborationDataCallback(int32_t, const sptr<DataCallback>&) override { return 0; }
    int32_t UnRegisterCollaborationDataCallback(int32_t) override { return 0; }
    int32_t SendCollaborationData(int32_t, const void*, uint32_t) override { return 0; }
};

class StartNetworkTest : public ServiceTest {
protected:
    StartNetworkTest()
    {
        SoftBusAdapter::GetInstance()->CreateSoftBusSessionServer();
        softBus_->onOpen = [this] {
            log_.WaitFor(" StartPending: sessionId=7", ++opens_);
            softBus_->listener.OnSessionOpened(7, 0);
        };
        softBus_->onSend = [this] {
            log_.WaitFor(" SendStartHotspotMessage wait result", ++requests_);
            SoftBusAdapter::GetInstance()->CloseSessionCondition(7, outcome_);
        };
        Start();
    }
    size_t opens_ = 0;
    size_t requests_ = 0;
    int outcome_ = 0;
    sptr<Tests::FakeDeviceManager> deviceManager_ =
        registry_.Add<Tests::FakeDeviceManager>(DISTRIBUTED_HARDWARE_DEVICEMANAGER_SA_ID);
    sptr<FakeCollaboration> collaboration_ = registry_.Add<FakeCollaboration>(COLL_FWK_SA_ID);
    sptr<Tests::FakeSoftBus> softBus_ = registry_.Add<Tests::FakeSoftBus>(SOFTBUS_SERVER_SA_ID);
};

TEST_F(StartNetworkTest, EndsWithItsCodeAndOneReport)
{
    struct Case {
        int32_t collaborationCode;
        int openResult;
        int outcome;
        int32_t expected;
        const char* event;
    };
    const std::string domain = "NETMANAGER_UE NET_START_DIST_NETWORK_";
    const std::string device = " 4 DEVICE_ID=ccccc**ccccc";
    for (const Case& c :
         {Case{0, 7, 0, 0, ""},
          Case{4, 7, 0, 1004500002, " SESSION_ID=0 ERROR_TYPE=-100 ERROR_MSG=AP connect fail, connect error"},
          Case{0, -3, 0, 1004500003, " SESSION_ID=0 ERROR_TYPE=-99 ERROR_MSG=AP connect fail, connect error"},
          Case{0, 7, -97, 1004500003, " SESSION_ID=7 ERROR_TYPE=-97 ERROR_MSG=AP connect fail, save wlan error"},
          Case{0, 7, -98, 1004500003,
               " SESSION_ID=7 ERROR_TYPE=-98 ERROR_MSG=AP connect fail, request open hotspot error"},
          Case{0, 7, -94, 1004500003, " SESSION_ID=7 ERROR_TYPE=-96 ERROR_MSG=AP connect fail, request error"}}) {
        collaboration_->startCode = c.collaborationCode;
        softBus_->openResult = c.openResult;
        outcome_ = c.outcome;
        EXPECT_EQ(service_.StartDistributedNetwork(1, 2, PEER), c.expected) << c.event;
        EXPECT_THAT(events_->Take(), ElementsAre(domain + "BEHAVIOR" + device,
                                                 domain + (c.expected == 0 ? "SUCCESS" : "FAIL") + device + c.event));
        EXPECT_EQ(softBus_->Take().empty(), c.collaborationCode != 0) << "the peer is woken first";
    }
}

TEST_F(StartNetworkTest, StoppedServiceRefusesWithoutATrace)
{
    service_.OnStop();
    std::vector<DmDeviceInfo> devices;
    std::string text;
    EXPECT_EQ(service_.StartDistributedNetwork(0, 0, PEER), 2200003);
    EXPECT_EQ(service_.GetAvailableDeviceList(devices), 2200003);
    EXPECT_EQ(service_.GetRemoteDeviceInfo({"bssid"}, text), 2200003);
    EXPECT_EQ(service_.StopDistributedNetwork(0, 0, PEER), 0);
    EXPECT_THAT(events_->Take(), IsEmpty());
}

}  // namespace
}  // namespace Vexo::NetManagerStandard
