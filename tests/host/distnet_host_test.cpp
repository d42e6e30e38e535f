#include "host/distnet_host.h"

#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <memory>

#include "interfaces/host_answers_json.h"
#include "platform/access/policy.h"
#include "platform/base/json.h"
#include "platform/wifi/station.h"
#include "tests/support/fake_wifi.h"
#include "tests/support/temp_folder.h"
#include "tests/support/trail.h"

namespace Vexo::Host {
namespace {

constexpr const char* PERMISSION = "vexo.permission.CONNECTIVITY_INTERNAL";

class FakeStation : public Tests::FakeWifiDevice {
public:
    Wifi::WifiLinkInfo GetLinkInfo() override { return station.LinkInfo(); }
    Wifi::WifiLinkInfo WaitForChange(const Wifi::WifiLinkInfo& known, std::chrono::milliseconds limit) override
    {
        ++blockedCalls;
        const Wifi::WifiLinkInfo info = station.WaitForChange(known, limit);
        --blockedCalls;
        return info;
    }

    Wifi::Station station;
    std::atomic<int> blockedCalls{0};
};

// Users by number; the kernel's credentials are all that tells them apart.
enum User : uid_t { NATIVE = 61001, NATIVE_NO_SYSTEM, APP, APP_NORMAL, APP_NO_PERMISSION, APP_NO_SYSTEM, STRANGER };

class HostAbility : public ::testing::Test {
protected:
    HostAbility()
    {
        using namespace Security;
        const auto entry = [](User user, ATokenTypeEnum type, ATokenAplEnum level, bool system, const char* granted) {
            return PolicyEntry{std::to_string(user), "", type, level, system, {granted}};
        };
        InstallAccessPolicy({{entry(NATIVE, TOKEN_NATIVE, APL_NORMAL, true, ""),
                              entry(NATIVE_NO_SYSTEM, TOKEN_NATIVE, APL_NORMAL, false, ""),
                              entry(APP, TOKEN_HAP, APL_SYSTEM_BASIC, true, PERMISSION),
                              entry(APP_NORMAL, TOKEN_HAP, APL_NORMAL, true, PERMISSION),
                              entry(APP_NO_PERMISSION, TOKEN_HAP, APL_SYSTEM_CORE, true, ""),
                              entry(APP_NO_SYSTEM, TOKEN_HAP, APL_SYSTEM_CORE, false, PERMISSION)}});
        SystemAbilityManagerClient::GetInstance().SetSystemAbilityManager(abilities);
        HostFacts facts;
        facts.configuration.deviceName = "phone";
        facts.configuration.deviceType = DeviceType::PHONE;
        facts.abilities = abilities;
        facts.link = [] { return LinkFacts{"ab", "", nullptr}; };
        facts.radio = [this] { return radio; };
        std::ofstream(folder.Path() / "events.jsonl") << "{ no JSON\n";
        facts.events = QuviewDFX::EventFile::Open({folder.Path() / "events.jsonl"}).value();
        facts.traces = std::make_shared<QuviewDFX::TraceRecorder>("phone");
        events = facts.events;
        host = MakeSptr<DistNetHost>(std::move(facts));
        abilities->AddSystemAbility(DISTNET_HOST_ABILITY_ID, host->AsObject());
    }
    ~HostAbility() override
    {
        // The host knows the registry, and the registry the host: neither would go before the other.
        abilities->RemoveSystemAbility(DISTNET_HOST_ABILITY_ID);
        SystemAbilityManagerClient::GetInstance().SetSystemAbilityManager(nullptr);
    }

    // Sends the token, then the words of body.
    int Ask(User user, HostInterfaceCode code, const std::vector<uint32_t>& body = {})
    {
        MessageParcel data;
        data.WriteInterfaceToken(IDistNetHost::GetDescriptor());
        for (const uint32_t word : body) {
            data.WriteUint32(word);
        }
        reply.Clear();
        const CallerScope caller(Security::IdentifyCaller({1, user, user, {}}));
        MessageOption option;
        return host->OnRemoteRequest(static_cast<uint32_t>(code), data, reply, option);
    }

    int32_t Result()
    {
        int32_t result = -1;
        EXPECT_TRUE(reply.ReadInt32(result));
        return result;
    }

    template <typename Value>
    Value Answer()
    {
        std::string json;
        EXPECT_EQ(Result(), HOST_OK);
        EXPECT_TRUE(reply.ReadString(json));
        return ParseAnswer<Value>(json).value();
    }

    sptr<FakeStation> AddStation()
    {
        const sptr<FakeStation> wifi = MakeSptr<FakeStation>();
        abilities->AddSystemAbility(WIFI_DEVICE_SYS_ABILITY_ID, sptr<IRemoteObject>(wifi));
        return wifi;
    }

    const Tests::TempFolder folder;
    std::shared_ptr<QuviewDFX::EventFile> events;
    sptr<SystemAbilityManager> abilities = MakeSptr<SystemAbilityManager>();
    sptr<DistNetHost> host;
    RadioState radio = RadioState::ON;
    MessageParcel reply;
};

TEST_F(HostAbility, AnswersOnlyWhomTheServiceWouldAnswer)
{
    for (const User user : {NATIVE_NO_SYSTEM, APP_NORMAL, APP_NO_PERMISSION, APP_NO_SYSTEM, STRANGER}) {
        EXPECT_EQ(Ask(user, HostInterfaceCode::GET_STATUS), IPC_UNKNOWN_REQUEST) << user;
        EXPECT_EQ(Result(), HOST_NOT_PERMITTED) << user;
        EXPECT_EQ(reply.GetReadableBytes(), 0U) << user;
    }
    EXPECT_EQ(Ask(APP, HostInterfaceCode::GET_COUNTS), IPC_OK);
    EXPECT_GE(Answer<HostCounts>().descriptors, 3U);
}

TEST_F(HostAbility, WaitForWifiAnswersAtOnceWhatTheCallerDoesNotKnowAndRefusesABadWait)
{
    const auto wait = [&](uint32_t limitMs) {
        EXPECT_EQ(Ask(NATIVE, HostInterfaceCode::WAIT_FOR_WIFI,
                      {2, static_cast<uint32_t>(Wifi::WifiLinkState::CONNECTING), limitMs}),
                  IPC_OK);
    };
    wait(1);
    EXPECT_EQ(Result(), HOST_NO_WIFI);
    const auto wifi = AddStation();
    using namespace std::string_literals;
    wifi->station.Begin({-1, "a\0\\\xFF\u009B"s, "", "", ""}, std::chrono::minutes(1));
    wait(60'001);
    EXPECT_EQ(Result(), HOST_BAD_REQUEST);
    wait(60'000);
    const auto answer = Answer<WifiStatus>();
    EXPECT_EQ(answer.state, WifiState::CONNECTING);
    EXPECT_EQ(answer.attempt, 1U);
    EXPECT_EQ(answer.ssid, R"(a\x00\\\xff\xc2\x9b)") << "whole, whatever bytes it has";
}

TEST_F(HostAbility, WaitsShareOneThreadKeepTheirLimitsAndEndWithTheChange)
{
    constexpr int WAITERS = 400;
    const auto wifi = AddStation();
    const auto known = WifiState::IDLE;
    Tests::Trail<WifiState> answers;
    const auto answer = [&](int32_t, const WifiStatus& status) { answers.Add(status.state); };
    for (int i = 0; i < WAITERS; ++i) {
        host->WaitForWifi(0, known, HOST_MAX_WAIT, answer);
    }
    EXPECT_TRUE(Tests::Eventually([&] { return wifi->blockedCalls == 1; }));
    host->WaitForWifi(0, known, std::chrono::milliseconds(20), answer);
    EXPECT_EQ(answers.WaitFor(1).size(), 1U) << "its own limit, while the thread waits for a longer one";
    wifi->station.Begin({-1, "air", "", "", ""}, std::chrono::minutes(1));
    EXPECT_EQ(answers.WaitFor(WAITERS + 1).size(), size_t{WAITERS} + 1);
    EXPECT_EQ(answers.WaitFor(0).back(), WifiState::CONNECTING);
    EXPECT_TRUE(Tests::Eventually([&] { return wifi->blockedCalls == 0; }));
    wifi->station.Stop();
    host->WaitForWifi(1, WifiState::CONNECTING, HOST_MAX_WAIT, answer);
    EXPECT_EQ(answers.WaitFor(WAITERS + 2).size(), size_t{WAITERS} + 2) << "a radio that stopped ends its waits";
}

TEST_F(HostAbility, WaitForEventsEndsWithTheNextEventAndAtItsLimit)
{
    Tests::Trail<EventPage> answers;
    const auto answer = [&](int32_t, const EventPage& page) { answers.Add(page); };
    host->GetEvents(0, std::chrono::milliseconds(0), answer);
    const uint64_t cursor = answers.WaitFor(1).back().cursor;
    host->GetEvents(cursor, HOST_MAX_WAIT, answer);
    host->GetEvents(cursor, std::chrono::milliseconds(1), answer);
    EXPECT_TRUE(answers.WaitFor(2).back().events.empty());
    const auto time = std::chrono::sys_days(std::chrono::year(2026) / 11 / 21) + std::chrono::milliseconds(1);
    EXPECT_EQ(events->Write({time, "TEST", "HAPPENED", 1, {{"CODE", -7}, {"WHO", "\"a\""}}}), 0);
    const Event happened{time, "TEST", "HAPPENED", EventType::FAULT, {{"CODE", -7}, {"WHO", "\"a\""}}};
    EXPECT_EQ(answers.WaitFor(3).back().events, std::vector{happened}) << "with all that was written";
}

TEST_F(HostAbility, StatusSaysWhetherTheRadioCanJoin)
{
    const auto shown = [this] {
        EXPECT_EQ(Ask(NATIVE, HostInterfaceCode::GET_STATUS), IPC_OK);
        return Answer<HostStatus>().wifi.radio;
    };
    EXPECT_EQ(shown(), RadioState::ABSENT) << "without a Wi-Fi ability";
    AddStation();
    for (const RadioState state : {RadioState::ON, RadioState::SWITCHED_OFF, RadioState::BLOCKED}) {
        radio = state;
        EXPECT_EQ(shown(), state);
    }
}

}  // namespace
}  // namespace Vexo::Host
