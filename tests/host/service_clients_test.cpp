#include "host/service_clients.h"

#include <gtest/gtest.h>

#include <future>

#include "distributed/services/service/i_distnet_service.h"
#include "distributed/services/utils/distnet_errors.h"
#include "platform/ability/ability_ids.h"
#include "platform/access/policy.h"
#include "platform/ipc/ipc_skeleton.h"
#include "tests/support/log_capture.h"
#include "tests/support/manual_timers.h"

namespace Vexo::Host {
namespace {

using NetManagerStandard::DistNetInterfaceCode;
using NetManagerStandard::IDistNetService;
using Tests::Eventually;

enum User : uid_t { NATIVE = 61001, STRANGER };

constexpr auto START_SERVICE = static_cast<uint32_t>(DistNetInterfaceCode::START_SERVICE);
constexpr auto RELEASE_SERVICE = static_cast<uint32_t>(DistNetInterfaceCode::RELEASE_SERVICE);
constexpr auto START_NETWORK = static_cast<uint32_t>(DistNetInterfaceCode::START_DISTRIBUTED_NETWORK);

// Tests with the real service, which is linked into this program.
class ServiceClientsTest : public ::testing::Test {
protected:
    struct Caller {
        User user = NATIVE;
        pid_t pid = 1;
    };

    ServiceClientsTest()
    {
        using namespace Security;
        InstallAccessPolicy({{PolicyEntry{std::to_string(NATIVE), "", TOKEN_NATIVE, APL_NORMAL, true, {}}}});
        IPCSkeleton::SetSelfIdentity(IdentifySelf());
        SystemAbilityManagerClient::GetInstance().SetSystemAbilityManager(abilities_);
        abilities_->AddOnDemandAbility(COMM_DISTRIBUTED_NET_ABILITY_ID, [] { return true; });
    }
    ~ServiceClientsTest() override
    {
        abilities_->UnloadSystemAbility(COMM_DISTRIBUTED_NET_ABILITY_ID);
        EXPECT_TRUE(Eventually([this] { return !IsPublished(); }));
        SystemAbilityManagerClient::GetInstance().SetSystemAbilityManager(nullptr);
    }

    // Sends a request that has no arguments. Returns the status of the request.
    int32_t Ask(const Caller& caller, uint32_t code, size_t replyCapacity = MAX_PARCEL_SIZE)
    {
        const CallerScope scope(Security::IdentifyCaller({caller.pid, caller.user, caller.user, {}}));
        MessageParcel data;
        MessageParcel reply;
        reply.SetMaxCapacity(replyCapacity);
        data.WriteInterfaceToken(IDistNetService::GetDescriptor());
        return clients_.Dispatch({0, COMM_DISTRIBUTED_NET_ABILITY_ID, code}, data, reply);
    }
    void End(const Caller& caller)
    {
        const CallerScope scope(Security::IdentifyCaller({caller.pid, caller.user, caller.user, {}}));
        clients_.ReleaseForGoneProcess();
    }
    bool IsPublished() { return static_cast<bool>(abilities_->GetSystemAbility(COMM_DISTRIBUTED_NET_ABILITY_ID)); }
    bool BecomesUnloaded()
    {
        return Eventually([this] { return !IsPublished(); });
    }
    // Returns true if the service stays loaded. The test need not wait before this call: if a request or the end of a
    // process unloads the service, Ask() or End() returns only after the unload has been accepted.
    bool StaysLoaded() const { return abilities_->IsLoaded(COMM_DISTRIBUTED_NET_ABILITY_ID); }

    const Tests::LogCapture log_;
    const sptr<SystemAbilityManager> abilities_ = MakeSptr<SystemAbilityManager>();
    Tests::ManualTimers timers_;
    ServiceClients clients_{abilities_, timers_};
};

TEST_F(ServiceClientsTest, EndedProcessIsReleasedEvenIfAllItsRequestsFailed)
{
    const Caller caller;
    EXPECT_EQ(Ask(caller, START_NETWORK), NetManagerStandard::DISTNET_ERR_READ_DATA);
    EXPECT_TRUE(StaysLoaded());
    End(caller);
    EXPECT_TRUE(BecomesUnloaded());
    EXPECT_EQ(Ask(caller, START_SERVICE, 0), NetManagerStandard::DISTNET_ERR_WRITE_REPLY);
    EXPECT_TRUE(StaysLoaded());
    End(caller);
    EXPECT_TRUE(BecomesUnloaded());
}

TEST_F(ServiceClientsTest, HolderKeepsServiceThatRefusedRequestLoads)
{
    for (pid_t round = 1; round <= 50; ++round) {
        timers_.Advance(QuviewDFX::LOG_LIMIT_INTERVAL);
        const Caller holder{NATIVE, round};
        auto refused = std::async(std::launch::async, [&] { return Ask({STRANGER, 1000}, START_SERVICE); });
        EXPECT_EQ(Ask(holder, START_SERVICE), IPC_OK);
        EXPECT_EQ(refused.get(), IPC_UNKNOWN_REQUEST);
        ASSERT_TRUE(StaysLoaded()) << round;
        EXPECT_EQ(Ask(holder, RELEASE_SERVICE), IPC_OK);
        ASSERT_TRUE(BecomesUnloaded()) << round;
    }
}

}  // namespace
}  // namespace Vexo::Host
