#include "host/distnet_host.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>

#include "interfaces/host_answers_json.h"
#include "platform/access/policy.h"
#include "platform/wifi/station.h"
#include "tests/support/fake_wifi.h"
#include "tests/support/trail.h"

namespace Vexo::Host {
namespace {

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

class HostAbility : public ::testing::Test {
protected:
    HostAbility()
    {
        SystemAbilityManagerClient::GetInstance().SetSystemAbilityManager(abilities);
        HostFacts facts;
        facts.abilities = abilities;
        facts.radio = [] { return RadioState::ON; };
        host = MakeSptr<DistNetHost>(std::move(facts));
    }
    ~HostAbility() override { SystemAbilityManagerClient::GetInstance().SetSystemAbilityManager(nullptr); }

    // Returns the result code. The rest of the answer is in the member variable reply.
    int32_t WaitForWifi(uint32_t attempt, Wifi::WifiLinkState state, uint32_t limitMs,
                        const CallerIdentity& identity = Security::IdentifySelf())
    {
        const CallerScope caller(identity);
        MessageParcel data;
        data.WriteInterfaceToken(IDistNetHost::GetDescriptor());
        data.WriteUint32(attempt);
        data.WriteInt32(static_cast<int32_t>(state));
        data.WriteUint32(limitMs);
        reply.Clear();
        MessageOption option;
        const int status =
            host->OnRemoteRequest(static_cast<uint32_t>(HostInterfaceCode::WAIT_FOR_WIFI), data, reply, option);
        int32_t result = -1;
        EXPECT_TRUE(reply.ReadInt32(result));
        EXPECT_EQ(status, result == HOST_NOT_PERMITTED ? IPC_UNKNOWN_REQUEST : IPC_OK);
        return result;
    }

    sptr<FakeStation> AddStation()
    {
        const sptr<FakeStation> wifi = MakeSptr<FakeStation>();
        abilities->AddSystemAbility(WIFI_DEVICE_SYS_ABILITY_ID, sptr<IRemoteObject>(wifi));
        return wifi;
    }

    sptr<SystemAbilityManager> abilities = MakeSptr<SystemAbilityManager>();
    sptr<DistNetHost> host;
    MessageParcel reply;
};

TEST_F(HostAbility, AnswersOnlyCallersThatServiceAllows)
{
    using namespace Security;
    const std::vector<std::string> granted{CONNECTIVITY_INTERNAL_PERMISSION};
    const std::pair<PolicyEntry, int32_t> cases[] = {
        {{"61001", "", TOKEN_NATIVE, APL_NORMAL, true, {}}, HOST_NO_WIFI},
        {{"61002", "", TOKEN_NATIVE, APL_NORMAL, false, {}}, HOST_NOT_PERMITTED},
        {{"61003", "", TOKEN_HAP, APL_SYSTEM_BASIC, true, granted}, HOST_NO_WIFI},
        {{"61004", "", TOKEN_HAP, APL_NORMAL, true, granted}, HOST_NOT_PERMITTED},
        {{"61005", "", TOKEN_HAP, APL_SYSTEM_CORE, true, {}}, HOST_NOT_PERMITTED},
        {{"61006", "", TOKEN_HAP, APL_SYSTEM_CORE, false, granted}, HOST_NOT_PERMITTED},
        {{"61007", "", TOKEN_SHELL, APL_SYSTEM_CORE, true, granted}, HOST_NOT_PERMITTED},
    };
    for (const auto& [entry, result] : cases) {
        InstallAccessPolicy({{entry}});
        const auto user = static_cast<uid_t>(std::stoul(entry.user));
        EXPECT_EQ(WaitForWifi(0, Wifi::WifiLinkState::IDLE, 1, IdentifyCaller({1, user, user, {}})), result) << user;
        EXPECT_EQ(reply.GetReadableBytes(), 0U);
    }
}

TEST_F(HostAbility, WaitForWifiReturnsAtOnceIfStateIsNewAndRefusesBadWait)
{
    using Wifi::WifiLinkState;
    EXPECT_EQ(WaitForWifi(2, WifiLinkState::CONNECTING, 1), HOST_NO_WIFI);
    const auto wifi = AddStation();
    wifi->station.Begin({-1, {"a\0\\\xFF\u009B", 6}, "", "", ""}, std::chrono::minutes(1));
    EXPECT_EQ(WaitForWifi(2, WifiLinkState::CONNECTING, 60'001), HOST_BAD_REQUEST);
    EXPECT_EQ(WaitForWifi(2, WifiLinkState::CONNECTING, 60'000), HOST_OK);
    std::string json;
    EXPECT_TRUE(reply.ReadString(json));
    const auto answer = ParseAnswer<WifiStatus>(json).value();
    EXPECT_EQ(answer.state, WifiState::CONNECTING);
    EXPECT_EQ(answer.attempt, 1U);
    EXPECT_EQ(answer.ssid, R"(a\x00\\\xff\xc2\x9b)") << "whole, whatever bytes it has";
}

TEST_F(HostAbility, WaitsShareOneThreadAndEndAtLimitOrChange)
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

}  // namespace
}  // namespace Vexo::Host
