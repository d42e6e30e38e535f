// Tests how DecisionCenter reacts to screen events. It uses a real event runner.
#include "distributed/services/converged/decision/src/decision_center.h"

#include <gtest/gtest.h>

#include <future>

#include "distributed/services/converged/configuration/configuration_center_manager.h"
#include "platform/base/json.h"
#include "tests/support/log_capture.h"

namespace Vexo::Tests {

class ConfigurationCenterAccess {
public:
    static void SetParser(std::shared_ptr<NetManagerStandard::ConfigurationParser> parser)
    {
        const auto manager = NetManagerStandard::ConfigurationCenterManager::GetInstance();
        const MutexLock lock(manager->parserMutex_);
        manager->parser_ = std::move(parser);
    }
};

namespace {

using namespace std::chrono_literals;
using AppExecFwk::EventHandler;
using AppExecFwk::EventRunner;
using AppExecFwk::InnerEvent;
using NetManagerStandard::ConfigurationParser;
using NetManagerStandard::DecisionCenter;

const std::string CLOSED = " Close net share.";

// Sets the settings of the device type "default". closeTimeMs: the value of screen_off_auto_close_time, where 0 means
// that no time is set.
void Configure(const std::string& isUse, const std::string& isProvide, int64_t closeTimeMs)
{
    const std::string caps = R"([{"type": "default", "use_network": )" + isUse + R"(, "provide_network": )" +
                             isProvide + R"(, "screen_off_auto_close_time": )" + std::to_string(closeTimeMs) + "}]";
    const Json json = ParseJson(caps);
    auto parser = std::make_shared<ConfigurationParser>();
    parser->ParseDeviceCapsOfDevice(json.get());
    parser->ParseDeviceCapsOfScenario(json.get());
    ConfigurationCenterAccess::SetParser(std::move(parser));
}

class DecisionCenterTest : public testing::Test {
protected:
    void Screen(bool isOn) { center->OnScreenStateChanged(isOn, runner); }
    // Blocks until the runner has run all events that become due within this delay.
    void RunUntil(std::chrono::milliseconds delay)
    {
        std::promise<void> reached;
        handler->SendEvent(InnerEvent::Get([&reached] { reached.set_value(); }), delay.count(),
                           EventHandler::Priority::IDLE);
        reached.get_future().wait();
    }

    const LogCapture log;
    const std::shared_ptr<EventRunner> runner = EventRunner::Create("decision-test");
    const std::shared_ptr<EventHandler> handler = std::make_shared<EventHandler>(runner);
    const std::shared_ptr<DecisionCenter> center = std::make_shared<DecisionCenter>();
};

TEST_F(DecisionCenterTest, ScreenOffClosesAfterConfiguredTimeIfBothFlagsAreSet)
{
    for (const auto& [isUse, isProvide] : {std::pair{"false", "true"}, {"true", "false"}}) {
        Configure(isUse, isProvide, 1);
        Screen(false);
        RunUntil(2ms);
        EXPECT_FALSE(log.Contains(CLOSED)) << isUse << isProvide;
    }
    Configure("true", "true", 60);
    const auto start = std::chrono::steady_clock::now();
    Screen(false);
    ASSERT_TRUE(log.WaitFor(CLOSED));
    EXPECT_GE(std::chrono::steady_clock::now() - start, 60ms);
}

TEST_F(DecisionCenterTest, ScreenOnKeepsScheduledEvents)
{
    for (const char* isProvideThen : {"false", "true"}) {
        std::promise<void> release;
        handler->SendEvent(InnerEvent::Get([&release] { release.get_future().wait(); }));
        Configure("true", "true", 1);
        Screen(false);
        Screen(false);
        Configure("true", isProvideThen, 1);
        Screen(true);
        // An event that a destroyed DecisionCenter has scheduled must have no effect.
        std::make_shared<DecisionCenter>()->OnScreenStateChanged(false, runner);
        release.set_value();
        RunUntil(2ms);
        EXPECT_EQ(log.Count(CLOSED), isProvideThen == std::string("true") ? 2U : 0U);
    }
}

TEST_F(DecisionCenterTest, NothingIsScheduledWithoutSettingsOrRunner)
{
    Configure("false", "true", 0);
    Screen(false);
    EXPECT_TRUE(log.Contains(" Get device parameters falied."));
    Configure("true", "true", 1);
    center->OnScreenStateChanged(true, nullptr);
    EXPECT_FALSE(log.Contains(" post task failed."));
    center->OnScreenStateChanged(false, nullptr);
    EXPECT_TRUE(log.Contains(" post task failed."));
}

}  // namespace
}  // namespace Vexo::Tests
