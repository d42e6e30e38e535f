#include <gtest/gtest.h>

#include <thread>

#include "platform/ability/system_ability_manager.h"
#include "tests/support/trail.h"

namespace Vexo {
namespace {

constexpr int32_t ABILITY = WIFI_HOTSPOT_SYS_ABILITY_ID;

// The ids that came, and those that left, negative.
class RecordingListener : public SystemAbilityStatusChangeStub, public Tests::Trail<int32_t> {
public:
    // Each callback asks the manager, which would never end under the manager's lock. The manager holds the listener.
    explicit RecordingListener(SystemAbilityManager& asks) : manager_(asks) {}

    void OnAddSystemAbility(int32_t id, const std::string&) override { Record(id); }
    void OnRemoveSystemAbility(int32_t id, const std::string&) override { Record(-id); }

private:
    void Record(int32_t id)
    {
        EXPECT_NE(std::this_thread::get_id(), testThread_);
        manager_.ListSystemAbilities();
        Add(id);
    }

    const std::thread::id testThread_ = std::this_thread::get_id();
    SystemAbilityManager& manager_;
};

class StatusListenerTest : public ::testing::Test {
protected:
    StatusListenerTest()
    {
        EXPECT_EQ(manager_->SubscribeSystemAbility(ABILITY, listener_), ERR_OK);
        EXPECT_EQ(manager_->SubscribeSystemAbility(COMMON_EVENT_SERVICE_ID, listener_), ERR_OK);
    }

    const sptr<SystemAbilityManager> manager_ = MakeSptr<SystemAbilityManager>();
    const sptr<RecordingListener> listener_ = MakeSptr<RecordingListener>(*manager_);
    const sptr<IRemoteObject> object_ = MakeSptr<IPCObjectStub>();
};

TEST_F(StatusListenerTest, HearsArrivalsAndDeparturesInOrderOnAnotherThreadUntilItUnsubscribes)
{
    std::vector<int32_t> expected;
    for (int i = 0; i < 100; ++i) {
        manager_->AddSystemAbility(ABILITY, object_);
        manager_->AddSystemAbility(COMMON_EVENT_SERVICE_ID, object_);
        manager_->RemoveSystemAbility(ABILITY);
        manager_->RemoveSystemAbility(COMMON_EVENT_SERVICE_ID);
        expected.insert(expected.end(), {ABILITY, COMMON_EVENT_SERVICE_ID, -ABILITY, -COMMON_EVENT_SERVICE_ID});
    }
    EXPECT_EQ(listener_->WaitFor(expected.size()), expected);
    EXPECT_EQ(manager_->UnSubscribeSystemAbility(ABILITY, listener_), ERR_OK);
    manager_->AddSystemAbility(ABILITY, object_);
    manager_->AddSystemAbility(COMMON_EVENT_SERVICE_ID, object_);
    expected.push_back(COMMON_EVENT_SERVICE_ID);
    EXPECT_EQ(listener_->WaitFor(expected.size()), expected);
}

}  // namespace
}  // namespace Vexo
