// The screen logic on a real runner, and the whole subsystem behind its front.
#include "distributed/services/converged/decision/src/decision_center.h"

#include <gtest/gtest.h>

#include <future>

#include "distributed/services/converged/configuration/configuration_center_manager.h"
#include "distributed/services/converged/decision/src/converged_decision_manager.h"
#include "platform/config_policy/config_policy.h"
#include "platform/events/common_event_server.h"
#include "platform/events/common_event_support.h"
#include "tests/support/fake_ability_manager.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_folder.h"

namespace Vexo::Tests {

class ConfigurationCenterAccess {
public:
    static void SetParser(std::shared_ptr<NetManagerStandard::ConfigurationParser> parser)
    {
        NetManagerStandard::ConfigurationCenterManager::GetInstance()->parser_ = std::move(parser);
    }
};

namespace {

using namespace std::chrono_literals;
using AppExecFwk::EventHandler;
using AppExecFwk::EventRunner;
using AppExecFwk::InnerEvent;
using NetManagerStandard::ConfigurationParser;
using NetManagerStandard::ConvergedDecisionManager;
using NetManagerStandard::DecisionCenter;

const std::string CLOSED = " Close net share.";

// Settings of device type "default"; a time of 0 is none.
void Configure(bool isUse, bool isProvide, int64_t closeTimeMs)
{
    const auto flag = [](bool isSet) { return isSet ? "true" : "false"; };
    const std::string caps = std::string(R"([{"type": "default", "use_network": )") + flag(isUse) +
                             R"(, "provide_network": )" + flag(isProvide) + R"(, "screen_off_auto_close_time": )" +
                             std::to_string(closeTimeMs) + "}]";
    auto parser = std::make_shared<ConfigurationParser>();
    cJSON* json = cJSON_Parse(caps.c_str());
    parser->ParseDeviceCapsOfDevice(json);
    parser->ParseDeviceCapsOfScenario(json);
    cJSON_Delete(json);
    ConfigurationCenterAccess::SetParser(std::move(parser));
}

class DecisionCenterTest : public testing::Test {
protected:
    void Screen(bool isOn) { center->OnScreenStateChanged(isOn, runner); }
    // Blocks until everything that is due by then has run.
    void RunUntil(std::chrono::milliseconds delay)
    {
        std::promise<void> reached;
        handler->SendEvent(InnerEvent::Get([&reached] { reached.set_value(); }), delay.count(),
                           EventHandler::Priority::IDLE);
        reached.get_future().wait();
    }

    // Holds back what is due until RunUntil.
    void Block()
    {
        handler->SendEvent(InnerEvent::Get([this] { release.get_future().wait(); }));
    }

    std::promise<void> release;
    const LogCapture log;
    const std::shared_ptr<EventRunner> runner = EventRunner::Create("decision-test");
    const std::shared_ptr<EventHandler> handler = std::make_shared<EventHandler>(runner);
    const std::shared_ptr<DecisionCenter> center = std::make_shared<DecisionCenter>();
};

TEST_F(DecisionCenterTest, AScreenThatGoesOffClosesAfterTheConfiguredTimeIfBothFlagsAreSet)
{
    for (const auto& [isUse, isProvide] : {std::pair{false, true}, {true, false}, {true, true}}) {
        Configure(isUse, isProvide, 60);
        const auto start = std::chrono::steady_clock::now();
        Screen(false);
        if (isUse && isProvide) {
            ASSERT_TRUE(log.WaitFor(CLOSED));
            EXPECT_GE(std::chrono::steady_clock::now() - start, 60ms);
        } else {
            RunUntil(61ms);
            EXPECT_FALSE(log.Contains(CLOSED));
        }
    }
}

TEST_F(DecisionCenterTest, AScreenThatComesOnLeavesWhatWasScheduled)
{
    Configure(true, true, 1);
    Block();
    Screen(false);
    Screen(false);
    Screen(true);
    std::make_shared<DecisionCenter>()->OnScreenStateChanged(false, runner);  // does nothing once its center has gone
    release.set_value();
    RunUntil(2ms);
    EXPECT_EQ(log.Count(CLOSED), 2U);
}

TEST_F(DecisionCenterTest, TheClosingGoesByTheFlagsOfTheMomentItRuns)
{
    Configure(true, true, 1);
    Block();
    Screen(false);
    Configure(true, false, 1);
    Screen(true);
    release.set_value();
    RunUntil(2ms);
    EXPECT_FALSE(log.Contains(CLOSED));
}

TEST_F(DecisionCenterTest, WhatCannotBePostedIsLogged)
{
    Configure(true, true, 1);
    center->OnScreenStateChanged(true, nullptr);
    EXPECT_FALSE(log.Contains(" post task failed."));
    center->OnScreenStateChanged(false, nullptr);
    EXPECT_EQ(log.Count(" post task failed."), 1U);
    Configure(true, true, -1);
    Screen(false);
    EXPECT_EQ(log.Count(" post task failed."), 2U);
}

TEST_F(DecisionCenterTest, WithoutSettingsNothingIsScheduled)
{
    ConfigurationCenterAccess::SetParser(std::make_shared<ConfigurationParser>());
    center->OnScreenStateChanged(false, nullptr);
    EXPECT_EQ(log.Count(" Get device net feature failed."), 1U);

    Configure(false, true, 0);
    center->OnScreenStateChanged(false, nullptr);
    EXPECT_EQ(log.Count(" Get device off time failed."), 1U);
    EXPECT_EQ(log.Count(" Get device parameters falied."), 2U);
    EXPECT_FALSE(log.Contains(" post task failed."));

    int time = 12;
    bool isUse = true;
    bool isProvide = false;
    EXPECT_FALSE(center->GetDeviceParameter("default", time, isUse, isProvide));
    EXPECT_TRUE(!isUse && isProvide && time == 12) << "the look-up that succeeded has written, the other has not";
}

TEST_F(DecisionCenterTest, OnlyAConnectedWifiCountsAsConnected)
{
    const std::tuple<int, int, bool> steps[] = {{0, 3, false}, {1, 3, true}, {0, 5, true}, {1, 5, false}};
    for (const auto& [netType, connState, isConnected] : steps) {
        center->OnConnectivityChanged(netType, connState);
        EXPECT_EQ(center->IsWifiConnected(), isConnected) << netType << " " << connState;
    }
}

TEST(ConvergedDecisionManagerTest, StartsTheSubsystemOnceAndScreenEventsReachIt)
{
    const LogCapture log;
    InstalledRegistry registry;
    registry.Add<EventFwk::CommonEventServer>(COMMON_EVENT_SERVICE_ID);
    const TempFolder folder;
    SetConfigPolicyRoots({folder.Path()});

    ConvergedDecisionManager manager;
    manager.DeInit();
    manager.Init();
    manager.InnerInitFirstStage();
    EXPECT_EQ(log.Count(" InitDecisionCenter"), 2U);
    EXPECT_EQ(log.Count(" Init ConfigurationCenter."), 1U);
    EXPECT_EQ(log.Count(" InitAwarenessCenter"), 1U);
    EXPECT_EQ(log.Count(" register events[1792] callback success."), 1U);

    EventFwk::CommonEventManager::PublishCommonEvent(
        EventFwk::CommonEventData(EventFwk::Want().SetAction(EventFwk::CommonEventSupport::COMMON_EVENT_SCREEN_OFF)));
    ASSERT_TRUE(log.WaitFor(" Get device parameters falied."));
    for (const char* line : {" OnScreenStateChanged, off", " screenState:0", " Can't find default's config."}) {
        EXPECT_EQ(log.Count(line), 1U) << line;
    }

    uint16_t pathType = 7;
    int pathId = 9;
    EXPECT_EQ(manager.RequestPath(pathType, pathId), 2200003);
    EXPECT_EQ(manager.ReleasePath(pathType, pathId), 2200003);
    EXPECT_EQ(pathType, 7);
    EXPECT_EQ(pathId, 9);
}

}  // namespace
}  // namespace Vexo::Tests
