#include "platform/ability/system_ability_manager.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <future>
#include <list>
#include <stdexcept>
#include <thread>

#include "tests/support/trail.h"

namespace Vexo {
namespace {

class FunctionStub : public IPCObjectStub {
public:
    explicit FunctionStub(std::function<int()> function) : function_(std::move(function)) {}
    int OnRemoteRequest(uint32_t, MessageParcel&, MessageParcel&, MessageOption&) override { return function_(); }

private:
    const std::function<int()> function_;
};

class TestAbility : public SystemAbility {
public:
    explicit TestAbility(int32_t id) : SystemAbility(id, true) {}

    std::function<int()> onRequest = [] { return IPC_OK; };
    std::function<bool()> onStart = [] { return true; };  // returns whether OnStart() publishes the ability
    std::atomic<int> starts{0};
    std::atomic<int> stops{0};

protected:
    void OnStart() override
    {
        ++starts;
        if (onStart()) {
            Publish(MakeSptr<FunctionStub>([this] { return onRequest(); }));
        }
    }
    void OnStop() override { ++stops; }
};

// Creates and registers an ability. A registered ability must exist until the process ends, so no test reuses the
// ability of another test.
TestAbility& NewAbility()
{
    static auto* const abilities = new std::list<TestAbility>;  // NOLINT(cppcoreguidelines-owning-memory)
    TestAbility& ability = abilities->emplace_back(static_cast<int32_t>(90'000 + abilities->size()));
    EXPECT_TRUE(SystemAbility::MakeAndRegisterAbility(&ability));
    return ability;
}

class SystemAbilityManagerTest : public ::testing::Test {
protected:
    SystemAbilityManagerTest()
    {
        SystemAbilityManagerClient::GetInstance().SetSystemAbilityManager(manager_);
        manager_->AddOnDemandAbility(id_, [this] {
            loadedOn_ = std::this_thread::get_id();
            return true;
        });
    }
    ~SystemAbilityManagerTest() override { SystemAbilityManagerClient::GetInstance().SetSystemAbilityManager(nullptr); }

    int32_t Request()
    {
        MessageParcel data;
        MessageParcel reply;
        return manager_->Dispatch(Ipc::IpcHeader{0, static_cast<uint32_t>(id_), 1}, data, reply);
    }
    std::future<int32_t> RequestInBackground()
    {
        return std::async(std::launch::async, [this] { return Request(); });
    }

    // Starts a request that blocks until release_ has a value. Unloads the ability while that request runs. At its end,
    // each request returns how many times the ability has been stopped.
    std::future<int32_t> UnloadDuringARequest()
    {
        ability_.onRequest = [this] {
            if (++entered_ == 1) {
                release_.get_future().wait();
            }
            return ability_.stops.load();
        };
        std::future<int32_t> request = RequestInBackground();
        EXPECT_TRUE(Tests::Eventually([this] { return entered_ == 1; }));
        EXPECT_EQ(manager_->UnloadSystemAbility(id_), ERR_OK);
        return request;
    }

    static constexpr std::chrono::milliseconds LOAD_LIMIT{500};
    std::promise<void> release_;
    std::atomic<int> entered_{0};
    TestAbility& ability_ = NewAbility();
    const int32_t id_ = ability_.GetSystemAbilityId();
    const sptr<SystemAbilityManager> manager_ = MakeSptr<SystemAbilityManager>(LOAD_LIMIT);
    std::atomic<std::thread::id> loadedOn_{};
};

TEST_F(SystemAbilityManagerTest, FirstRequestsStartAbilityOnceOnAnotherThread)
{
    std::vector<std::future<int32_t>> requests(8);
    std::generate(requests.begin(), requests.end(), [this] { return RequestInBackground(); });
    EXPECT_EQ(Request(), IPC_OK);
    for (auto& request : requests) {
        EXPECT_EQ(request.get(), IPC_OK);
    }
    EXPECT_EQ(ability_.starts, 1);
    EXPECT_NE(loadedOn_.load(), std::this_thread::get_id());
}

TEST_F(SystemAbilityManagerTest, LoadTimesOutAndRequestRestartsAbilityDuringUnload)
{
    std::future<int32_t> first = UnloadDuringARequest();
    std::future<int32_t> second = RequestInBackground();
    EXPECT_EQ(manager_->LoadSystemAbility(id_), ERR_NOT_STARTED);
    EXPECT_EQ(second.wait_for(LOAD_LIMIT), std::future_status::timeout);
    release_.set_value();
    EXPECT_EQ(first.get(), 0);
    EXPECT_EQ(second.get(), 1) << "one stop before it";
    EXPECT_EQ(ability_.starts, 2);
}

TEST_F(SystemAbilityManagerTest, RequestDuringUnloadFailsAtOnceWhenLoadingStops)
{
    std::future<int32_t> first = UnloadDuringARequest();
    std::future<int32_t> second = RequestInBackground();
    EXPECT_EQ(second.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    manager_->StopLoading();
    EXPECT_EQ(second.get(), IPC_ABILITY_UNAVAILABLE);
    release_.set_value();
    EXPECT_EQ(first.get(), 0);
}

TEST_F(SystemAbilityManagerTest, RequestFailsWithFailedStartAndNextRequestRetries)
{
    ability_.onStart = []() -> bool { throw std::runtime_error("broken"); };
    EXPECT_EQ(Request(), IPC_ABILITY_UNAVAILABLE);
    ability_.onStart = [] { return true; };
    EXPECT_EQ(Request(), IPC_OK);
}

constexpr int32_t ABILITY = WIFI_HOTSPOT_SYS_ABILITY_ID;

// Records the id of each added ability. For a removed ability, records the id multiplied by -1.
class RecordingListener : public SystemAbilityStatusChangeStub, public Tests::Trail<int32_t> {
public:
    // asks: the manager that each callback calls. If the manager called a callback with its lock held, that call would
    // deadlock. The manager owns the listener.
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

TEST_F(StatusListenerTest, ReceivesChangesInOrderOnAnotherThreadUntilUnsubscribed)
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
