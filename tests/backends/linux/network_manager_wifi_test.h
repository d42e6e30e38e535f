// NetworkManagerWifiTest: a fixture with the Wi-Fi of a phone and the Wi-Fi of a laptop. Each device has its own fake
// NetworkManager (wifi_world.h). The fixture also has the steps that several tests use.
#pragma once

#include <algorithm>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "tests/backends/linux/wifi_world.h"
#include "tests/support/log_capture.h"
#include "tests/support/recorded_sys_events.h"

namespace Vexo::Tests {

inline constexpr const char* KEY = "not-a-real-key";

inline std::vector<std::string> ClosedFor(const std::string& reason, size_t count = 1)
{
    return std::vector<std::string>(count, "NET_SHARE_CLOSED REASON " + reason);
}

class NetworkManagerWifiTest : public testing::Test {
protected:
    ~NetworkManagerWifiTest() override
    {
        phone_.End();
        laptop_.End();
        if (HasFailure()) {
            std::cerr << log_.Text();
        }
    }

    std::string Phone() { return Air::State(air_.Phone()); }
    std::string Laptop() { return Air::State(air_.Laptop()); }
    static bool Has(const std::string& state, const std::string& text) { return state.find(text) != std::string::npos; }
    void Do(PrivateMachine& machine, const std::string& command)
    {
        const Result<std::string> done = Air::Do(machine, command);
        ASSERT_TRUE(done) << done.error().message;
    }
    static std::string ActiveIs(const std::string& uuid)
    {
        return "\"active\": [" + (uuid.empty() ? "" : "\"" + uuid + "\"") + "]";
    }
    // Connects the machine's radio to the network of the user's profile USERS_NETWORK.
    void BeAtHome(PrivateMachine& machine)
    {
        Linux::AccessPoint open;
        Linux::SettingsMap home = Linux::MakeStationProfile(Air::USERS_NETWORK, {-1, "Garden", "", "", ""}, open);
        home["connection"]["id"] = std::string("far away");
        Air::StoreProfile(machine.Bus(), home);
        Activate(machine, Air::USERS_NETWORK);
    }
    static std::string ActivationIn(const std::string& state)
    {
        const size_t begin = state.find(std::string(Linux::NETWORK_MANAGER_PATH) + "/ActiveConnection/");
        return state.substr(begin, state.find('"', begin) - begin);
    }
    void ShareGarden(Wifi::KeyMgmt security = Wifi::KeyMgmt::WPA2_PSK)
    {
        Air::StoreProfile(air_.Phone().Bus(), HotspotProfile("Garden", KEY, security));
        Activate(air_.Phone(), Air::USERS_HOTSPOT);
    }
    Wifi::WifiLinkInfo Join(const std::string& ssid = "Garden")
    {
        EXPECT_EQ(laptop_.Station()->ConnectToDevice({-1, ssid, "", KEY, ""}), Wifi::WIFI_OK);
        return WaitWhile(Wifi::WifiLinkState::CONNECTING);
    }
    Wifi::WifiLinkInfo WaitWhile(Wifi::WifiLinkState state)
    {
        Wifi::WifiLinkInfo info = laptop_.Station()->GetLinkInfo();
        return info.state == state ? laptop_.Station()->WaitForChange(info, WAIT_LIMIT) : info;
    }
    void Activate(PrivateMachine& machine, const std::string& uuid)
    {
        Do(machine, R"({"do": "activate", "uuid": ")" + uuid + "\"}");
        ASSERT_TRUE(Eventually([&] { return Has(Air::State(machine), ActiveIs(uuid)); }));
    }
    void AnswerLate(PrivateMachine& machine, const std::string& seconds, const std::string& method = "")
    {
        Do(machine, R"({"do": "answer_late", "seconds": )" + seconds + R"(, "method": ")" + method + "\"}");
    }
    void Lose(PrivateMachine& machine, const std::string& method, int count)
    {
        Do(machine, R"({"do": "lose", "method": ")" + method + R"(", "count": )" + std::to_string(count) + "}");
    }
    // Waits until NetworkManager has only the given profile, only the given profile is active, and the daemon has no
    // recorded change left to undo. profile, active: the UUID of a user's profile, or empty for no profile.
    void ExpectAsBefore(WifiMachine& daemon, const std::string& profile, const std::string& active)
    {
        PrivateMachine& machine = &daemon == &phone_ ? air_.Phone() : air_.Laptop();
        const std::string profiles = "\"profiles\": [" + (profile.empty() ? "" : "\"" + profile + "\"") + "]";
        EXPECT_TRUE(Eventually([&] {
            const std::string state = Air::State(machine);
            const std::string noted = Journal(daemon);
            return Has(state, profiles) && Has(state, ActiveIs(active)) && (noted.empty() || noted == "[]\n");
        })) << Air::State(machine)
            << Journal(daemon);
    }
    std::string Journal(WifiMachine& machine)
    {
        std::ifstream file(machine.Folder() / Linux::NETWORK_CHANGES_FILE);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    LogCapture log_;
    const RecordedSysEvents events_;
    Air air_;
    WifiMachine phone_{air_.Phone().Address(), "phone"};
    WifiMachine laptop_{air_.Laptop().Address(), "laptop"};
};

}  // namespace Vexo::Tests
