#include "tests/backends/linux/network_manager_wifi_test.h"

#include "platform/base/files.h"
#include "platform/wifi/wifi_budgets.h"

namespace Vexo::Tests {
namespace {

using std::chrono::milliseconds;
using Wifi::ServiceType;
using Wifi::WifiLinkState;

TEST_F(NetworkManagerWifiTest, OwnHotspotStartsStopsAndKeepsKeyWithoutUserProfile)
{
    std::string key;
    for (const auto& [security, shown] : {std::pair{Wifi::KeyMgmt::WPA2_PSK, "\"key-mgmt\": \"wpa-psk\""},
                                          std::pair{Wifi::KeyMgmt::SAE, "\"key-mgmt\": \"sae\""},
                                          std::pair{Wifi::KeyMgmt::NONE, "\"method\": \"shared\""}}) {
        phone_.Options().hotspot.settings = {security, "bg", 6};
        phone_.Start();
        ASSERT_EQ(phone_.Hotspot()->EnableHotspot(ServiceType::DEFAULT), Wifi::WIFI_OK);
        EXPECT_TRUE(phone_.IsHotspotOn());
        const Wifi::HotspotConfig config = phone_.Config();
        EXPECT_EQ(config.GetSsid(), "phone-7f3a");
        EXPECT_EQ(config.GetSecurityType(), security);
        const bool isOpen = security == Wifi::KeyMgmt::NONE;
        EXPECT_EQ(config.GetPreSharedKey().size(), isOpen ? 0U : 16U);
        EXPECT_TRUE(isOpen || key.empty() || key == config.GetPreSharedKey());
        key = isOpen ? key : config.GetPreSharedKey();
        const std::string state = Phone();
        for (const std::string text : {shown, "\"band\": \"bg\"", "\"channel\": 6", "distnet.temporary"}) {
            EXPECT_TRUE(Has(state, text)) << text << " in " << state;
        }
        EXPECT_EQ(phone_.Hotspot()->DisableHotspot(ServiceType::DEFAULT), Wifi::WIFI_OK);
        EXPECT_FALSE(phone_.IsHotspotOn());
        EXPECT_TRUE(Has(Phone(), "\"profiles\": []")) << Phone();
        EXPECT_EQ(Journal(phone_), "[]\n");
        phone_.End();
    }
    EXPECT_EQ(events_.Lines(), ClosedFor("ASKED", 3));
    const auto mode = std::filesystem::status(phone_.Folder() / Linux::HOTSPOT_KEY_FILE).permissions();
    EXPECT_EQ(mode, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    EXPECT_FALSE(log_.Contains(key));
}

TEST_F(NetworkManagerWifiTest, DamagedKeyFileIsReplaced)
{
    using namespace std::string_literals;
    const std::filesystem::path file = phone_.Folder() / Linux::HOTSPOT_KEY_FILE;
    for (const std::string& damaged :
         {""s, "cut in the middle"s, "cut in \xff\x00 noise\n"s, "short\n"s, "two\nlines\n"s}) {
        std::ofstream(file, std::ios::binary) << damaged;
        phone_.Start();
        EXPECT_EQ(phone_.Hotspot()->EnableHotspot(ServiceType::DEFAULT), Wifi::WIFI_OK) << damaged;
        const std::string key = phone_.Config().GetPreSharedKey();
        EXPECT_EQ(key.size(), 16U) << damaged;
        EXPECT_EQ(ReadWholeFile(file, 64).value_or(""), key + "\n");
        phone_.End();
    }
}

TEST_F(NetworkManagerWifiTest, ChangedKeyClosesOwnHotspotAndKeepsUsersHotspot)
{
    phone_.Start();
    ASSERT_EQ(phone_.Hotspot()->EnableHotspot(ServiceType::DEFAULT), Wifi::WIFI_OK);
    const std::string before = phone_.Config().GetPreSharedKey();
    EXPECT_EQ(phone_.Hotspot()->ChangeKey().value_or("failed"), "");
    EXPECT_FALSE(phone_.IsHotspotOn());
    const std::string after = phone_.Config().GetPreSharedKey();
    EXPECT_EQ(after.size(), before.size());
    EXPECT_NE(after, before);
    phone_.End();
    EXPECT_EQ(events_.Lines(), ClosedFor("KEY_CHANGED", 1));

    phone_.Start();
    EXPECT_EQ(phone_.Config().GetPreSharedKey(), after) << "in the next run";
    ShareGarden();
    EXPECT_TRUE(Eventually([&] { return phone_.IsHotspotOn(); }));
    EXPECT_EQ(phone_.Hotspot()->ChangeKey().value_or("failed"), "Garden");
    EXPECT_TRUE(phone_.IsHotspotOn());
    EXPECT_EQ(phone_.Config().GetPreSharedKey(), KEY);
}

TEST_F(NetworkManagerWifiTest, HotspotStartedByUserIsNotChanged)
{
    ShareGarden();
    phone_.Options().hotspot.limits.idle = milliseconds(1);
    phone_.Start();
    EXPECT_TRUE(phone_.IsHotspotOn());
    EXPECT_EQ(phone_.Hotspot()->EnableHotspot(ServiceType::DEFAULT), Wifi::WIFI_OK);
    EXPECT_EQ(phone_.Config().GetPreSharedKey(), KEY);
    EXPECT_EQ(phone_.Hotspot()->DisableHotspot(ServiceType::DEFAULT), Wifi::WIFI_FAILED);
    phone_.Wifi().OnBatteryLow();
    phone_.End();
    EXPECT_TRUE(Has(Phone(), ActiveIs(Air::USERS_HOTSPOT)));
    EXPECT_TRUE(events_.Lines().empty());

    // The user's hotspot has a key that only a secret agent of the user knows, so the daemon cannot send the key to
    // a peer. After that hotspot ends, the daemon offers its own hotspot.
    Do(air_.Phone(), R"({"do": "keep_key_elsewhere", "uuid": ")" + std::string(Air::USERS_HOTSPOT) + "\"}");
    phone_.Start();
    Wifi::HotspotConfig config;
    EXPECT_EQ(phone_.Hotspot()->GetHotspotConfig(config), Wifi::WIFI_FAILED);
    Do(air_.Phone(), R"({"do": "deactivate"})");
    EXPECT_EQ(phone_.Config().GetSsid(), "phone-7f3a");
}

TEST_F(NetworkManagerWifiTest, StationIsReplacedAfterAnswerAndRestoredAfterHotspot)
{
    BeAtHome(air_.Phone());
    phone_.Start();
    EXPECT_FALSE(phone_.IsHotspotOn());
    ASSERT_EQ(phone_.Hotspot()->EnableHotspot(ServiceType::DEFAULT), Wifi::WIFI_OK);
    EXPECT_TRUE(Has(Phone(), ActiveIs(Air::USERS_NETWORK))) << "the answer has not left yet";
    EXPECT_TRUE(phone_.IsHotspotOn());
    ASSERT_TRUE(Eventually([&] { return Has(Phone(), "\"mode\": \"ap\""); }));
    EXPECT_TRUE(phone_.IsHotspotOn());
    ASSERT_EQ(phone_.Hotspot()->DisableHotspot(ServiceType::DEFAULT), Wifi::WIFI_OK);
    EXPECT_TRUE(Eventually([&] { return Has(Phone(), ActiveIs(Air::USERS_NETWORK)); }));
}

TEST_F(NetworkManagerWifiTest, OwnHotspotClosesWhenIdleOrOnLowBattery)
{
    const milliseconds soon(150);
    const milliseconds never = std::chrono::hours(1);
    for (const auto& [idle, idleWithoutUplink, reason] :
         {std::tuple{soon, never, "IDLE"}, std::tuple{never, soon, "IDLE_WITHOUT_UPLINK"},
          std::tuple{never, never, "BATTERY_LOW"}, std::tuple{never, never, "DAEMON_STOPPED"}}) {
        const size_t before = events_.Lines().size();
        phone_.Options().hotspot.limits.idle = idle;
        phone_.Options().hotspot.limits.idleWithoutUplink = idleWithoutUplink;
        phone_.stations = 1;
        phone_.Start();
        ASSERT_EQ(phone_.Hotspot()->EnableHotspot(ServiceType::DEFAULT), Wifi::WIFI_OK);
        EXPECT_FALSE(Eventually([&] { return !phone_.IsHotspotOn(); }, soon * 2)) << "a station is connected";
        Do(air_.Phone(), R"({"do": "lead_to", "path": "/wire"})");
        phone_.stations = 0;
        EXPECT_TRUE(idleWithoutUplink == never || !Eventually([&] { return !phone_.IsHotspotOn(); }, soon * 2))
            << "it leads somewhere";
        Do(air_.Phone(), R"({"do": "lead_to", "path": "/"})");
        if (reason == std::string("BATTERY_LOW")) {
            phone_.Wifi().OnBatteryLow();
        } else if (reason == std::string("DAEMON_STOPPED")) {
            phone_.End();
        }
        EXPECT_TRUE(Eventually([&] { return events_.Lines().size() > before; }));
        EXPECT_EQ(events_.Lines().back(), ClosedFor(reason)[0]);
        EXPECT_TRUE(Eventually([&] { return Has(Phone(), ActiveIs("")); }));
        phone_.End();
    }
}

TEST_F(NetworkManagerWifiTest, ConnectionLeavesNoTraceAndRestoresUsersNetwork)
{
    constexpr int mayPass = 11;  // After this reason, the daemon tries again.
    laptop_.Options().station.searchLimit = WAIT_LIMIT;
    BeAtHome(air_.Laptop());
    laptop_.Start();
    ShareGarden(Wifi::KeyMgmt::SAE);
    for (const int reason : {mayPass, 5, 7}) {
        Do(air_.Laptop(), R"({"do": "fail_next", "reason": )" + std::to_string(reason) + "}");
        int id = -1;
        EXPECT_EQ(laptop_.Station()->AddDeviceConfig({-1, "Garden", "", KEY, ""}, id, false), Wifi::WIFI_OK);
        const Wifi::WifiLinkInfo info = Join();
        EXPECT_EQ(info.failure, reason == mayPass ? "" : reason == 5 ? "NO_IP_ADDRESS" : "WRONG_KEY");
        EXPECT_EQ(info.reason, reason == mayPass ? "" : reason == 5 ? "no address" : "wrong key");
        if (reason == mayPass) {
            EXPECT_EQ(info.address, "10.42.0.17");
            const std::string state = Laptop();
            for (const std::string text :
                 {"\"autoconnect\": 0", "\"metered\": 1", "distnet.temporary", "\"key-mgmt\": \"sae\""}) {
                EXPECT_TRUE(Has(state, text)) << text << " in " << state;
            }
            const std::string noted = Journal(laptop_);
            EXPECT_TRUE(Has(noted, Air::USERS_NETWORK)) << noted;
            EXPECT_EQ(std::count(noted.begin(), noted.end(), '{'), 1) << "one change: " << noted;
            Do(air_.Phone(), R"({"do": "deactivate"})");
            EXPECT_EQ(WaitWhile(WifiLinkState::CONNECTED).reason, "the hotspot is gone");
            ShareGarden(Wifi::KeyMgmt::SAE);
        }
        // The user's own profile for the SSID "Garden" must stay.
        ExpectAsBefore(laptop_, Air::USERS_NETWORK, Air::USERS_NETWORK);
        std::vector<Wifi::WifiDeviceConfig> configs;
        laptop_.Station()->GetDeviceConfigs(configs, false);
        EXPECT_TRUE(configs.empty());
    }
}

TEST_F(NetworkManagerWifiTest, UserWhoDisconnectsStaysDisconnected)
{
    BeAtHome(air_.Laptop());
    laptop_.Start();
    ShareGarden();
    int id = -1;
    laptop_.Station()->AddDeviceConfig({-1, "Garden", "", KEY, ""}, id, false);
    ASSERT_EQ(Join().state, WifiLinkState::CONNECTED);
    Do(air_.Laptop(), R"({"do": "deactivate"})");
    ExpectAsBefore(laptop_, Air::USERS_NETWORK, "");
    EXPECT_FALSE(Eventually([&] { return !Has(Laptop(), ActiveIs("")); }, milliseconds(300)))
        << "the previous network is not restored";
}

TEST_F(NetworkManagerWifiTest, FailedReplacementRestoresUsersNetwork)
{
    BeAtHome(air_.Laptop());
    laptop_.Options().station.searchLimit = std::chrono::seconds(1);
    laptop_.Start();
    ShareGarden();
    int id = -1;
    laptop_.Station()->AddDeviceConfig({-1, "Garden", "", KEY, ""}, id, false);
    ASSERT_EQ(Join().state, WifiLinkState::CONNECTED);
    laptop_.Station()->AddDeviceConfig({-1, "Cellar", "", KEY, ""}, id, false);
    ASSERT_EQ(laptop_.Station()->ConnectToDevice({-1, "Cellar", "", KEY, ""}), Wifi::WIFI_OK);
    std::vector<Wifi::WifiDeviceConfig> configs;
    laptop_.Station()->GetDeviceConfigs(configs, false);
    ASSERT_EQ(configs.size(), 1U) << "the BSSID of the first would pass for the present one";
    EXPECT_EQ(configs[0].ssid, "Cellar");
    ASSERT_TRUE(Eventually([&] { return Has(Laptop(), ActiveIs("")); })) << Laptop();
    EXPECT_TRUE(Has(Journal(laptop_), Air::USERS_NETWORK)) << "a crash now would leave the machine offline";
    EXPECT_EQ(WaitWhile(WifiLinkState::CONNECTING).state, WifiLinkState::FAILED);
    ExpectAsBefore(laptop_, Air::USERS_NETWORK, Air::USERS_NETWORK);
}

TEST_F(NetworkManagerWifiTest, RequestCallsKeepTimeLimitsWhenAnswersAreLate)
{
    const milliseconds busyMachine(300);
    const auto now = [] { return std::chrono::steady_clock::now(); };
    phone_.Start();
    laptop_.Start();
    for (const std::string late : {"0.2", "0.65"}) {
        AnswerLate(air_.Phone(), late);
        auto begun = now();
        bool isActive = true;
        Wifi::HotspotConfig config;
        EXPECT_EQ(phone_.Hotspot()->IsHotspotActive(isActive), Wifi::WIFI_OK);
        EXPECT_EQ(phone_.Hotspot()->EnableHotspot(ServiceType::DEFAULT), Wifi::WIFI_NO_ANSWER);
        EXPECT_EQ(phone_.Hotspot()->GetHotspotConfig(config), Wifi::WIFI_NO_ANSWER);
        EXPECT_LT(now() - begun, Wifi::SERVING_BUDGET + busyMachine) << late;
        AnswerLate(air_.Phone(), "0");
        ExpectAsBefore(phone_, "", "");

        AnswerLate(air_.Laptop(), late == "0.2" ? "0.3" : late);
        begun = now();
        int id = -1;
        EXPECT_EQ(laptop_.Station()->AddDeviceConfig({-1, "Garden", "", KEY, ""}, id, false), Wifi::WIFI_OK);
        EXPECT_EQ(laptop_.Station()->ConnectToDevice({-1, "Garden", "", KEY, ""}), Wifi::WIFI_NO_ANSWER);
        EXPECT_LT(now() - begun, Wifi::REQUESTING_BUDGET + busyMachine) << late;
        AnswerLate(air_.Laptop(), "0");
        ExpectAsBefore(laptop_, "", "");
    }
    EXPECT_EQ(laptop_.Station()->GetLinkInfo().state, WifiLinkState::IDLE);
    EXPECT_FALSE(phone_.IsHotspotOn());
    EXPECT_EQ(phone_.Hotspot()->EnableHotspot(ServiceType::DEFAULT), Wifi::WIFI_OK);
    EXPECT_EQ(phone_.Config().GetSsid(), "phone-7f3a");
}

TEST_F(NetworkManagerWifiTest, HotspotThatOpensAfterFailedCallIsClosed)
{
    phone_.Start();
    size_t closed = 0;
    for (const std::string usersOwn : {"", Air::USERS_HOTSPOT}) {
        if (!usersOwn.empty()) {
            Air::StoreProfile(air_.Phone().Bus(), HotspotProfile("Garden", KEY, Wifi::KeyMgmt::WPA2_PSK));
        }
        AnswerLate(air_.Phone(), "1", usersOwn.empty() ? "AddAndActivateConnection2" : "ActivateConnection");
        EXPECT_EQ(phone_.Hotspot()->EnableHotspot(ServiceType::DEFAULT), Wifi::WIFI_NO_ANSWER);
        ++closed;
        EXPECT_EQ(events_.WaitFor(closed), ClosedFor("TOO_LATE", closed));
        ExpectAsBefore(phone_, usersOwn, "");
        EXPECT_FALSE(phone_.IsHotspotOn());
    }
}

TEST_F(NetworkManagerWifiTest, NewHotspotKeyIsKnownWhileNetworkManagerIsBusy)
{
    phone_.Start();
    Wifi::HotspotConfig config;
    AnswerLate(air_.Phone(), "1");
    EXPECT_EQ(phone_.Hotspot()->GetHotspotConfig(config), Wifi::WIFI_NO_ANSWER);
    AnswerLate(air_.Phone(), "0");
    ASSERT_EQ(phone_.Hotspot()->EnableHotspot(ServiceType::DEFAULT), Wifi::WIFI_OK);
    const std::string key = phone_.Config().GetPreSharedKey();
    AnswerLate(air_.Phone(), "1");
    EXPECT_EQ(phone_.Hotspot()->GetHotspotConfig(config), Wifi::WIFI_OK);
    EXPECT_EQ(config.GetPreSharedKey(), key);
    EXPECT_EQ(config.GetSsid(), "phone-7f3a");
}

TEST_F(NetworkManagerWifiTest, UnansweredChangesAreUndoneOnceNetworkManagerAnswers)
{
    for (WifiMachine* const machine : {&phone_, &laptop_}) {
        machine->Options().answerLimit = milliseconds(500);
    }
    BeAtHome(air_.Laptop());
    phone_.Start();
    laptop_.Start();
    for (const std::string method : {"DeactivateConnection", "GetConnectionByUuid"}) {
        ASSERT_EQ(phone_.Hotspot()->EnableHotspot(ServiceType::DEFAULT), Wifi::WIFI_OK);
        ASSERT_TRUE(Eventually([&] { return !Has(Phone(), ActiveIs("")); }));
        const std::string ssid = phone_.Config().GetSsid();
        EXPECT_EQ(laptop_.Station()->ConnectToDevice({-1, ssid, "", phone_.Config().GetPreSharedKey(), ""}),
                  Wifi::WIFI_OK);
        EXPECT_EQ(WaitWhile(WifiLinkState::CONNECTING).state, WifiLinkState::CONNECTED);
        Lose(air_.Phone(), method, 1);
        Lose(air_.Laptop(), "GetConnectionByUuid", 1);
        EXPECT_EQ(phone_.Hotspot()->DisableHotspot(ServiceType::DEFAULT), Wifi::WIFI_NO_ANSWER) << method;
        ExpectAsBefore(phone_, "", "");
        ExpectAsBefore(laptop_, Air::USERS_NETWORK, Air::USERS_NETWORK);
    }
    EXPECT_EQ(events_.Lines(), ClosedFor("ASKED", 2));
}

TEST_F(NetworkManagerWifiTest, MissingAnswerDoesNotRemoveRadio)
{
    laptop_.Options().answerLimit = milliseconds(200);
    laptop_.Start();
    ASSERT_TRUE(laptop_.StationPresence().isPresent);
    // After a change of the radio, the daemon reads the radio's properties twice: once to find out whether a hotspot is
    // on, and once to find out whether station and hotspot are available. Neither read gets an answer.
    Lose(air_.Laptop(), "GetAll", 2);
    Do(air_.Laptop(), R"({"do": "capabilities", "bits": 127})");
    ASSERT_TRUE(Eventually([&] { return Has(Laptop(), "\"lost\": 0"); }));
    EXPECT_FALSE(Eventually([&] { return !laptop_.StationPresence().isPresent; }, milliseconds(400)));
}

TEST_F(NetworkManagerWifiTest, WrongWpa3KeyIsDistinguishedFromMissingHotspot)
{
    ShareGarden(Wifi::KeyMgmt::SAE);
    laptop_.Start();
    EXPECT_EQ(laptop_.Station()->ConnectToDevice({-1, "Garden", "", "another-key", ""}), Wifi::WIFI_OK);
    EXPECT_TRUE(WaitWhile(WifiLinkState::CONNECTING).reason.ends_with("most often the key is wrong"));
}

TEST_F(NetworkManagerWifiTest, ChangesLeftByCrashAreUndoneAtNextStart)
{
    const std::string left = "33333333-3333-4333-8333-333333333333";
    Linux::SettingsMap ours = HotspotProfile("phone-7f3a", KEY, Wifi::KeyMgmt::WPA2_PSK);
    ours["connection"]["uuid"] = left;
    Air::StoreProfile(air_.Phone().Bus(), ours, false);
    phone_.Options().answerLimit = milliseconds(500);
    for (const auto& [isNoted, isAnswered] : {std::pair{true, true}, std::pair{true, false}, std::pair{false, true}}) {
        ShareGarden();
        std::ofstream(phone_.Folder() / Linux::NETWORK_CHANGES_FILE)
            << (isNoted ? R"([{"profile": ")" + std::string(Air::USERS_HOTSPOT) + R"(", "activation": ")" +
                              ActivationIn(Phone()) + R"(", "previous": "", "hotspot": true, "our_profile": false}])"
                        : "[{damaged");
        if (!isAnswered) {
            Lose(air_.Phone(), "DeactivateConnection", 1);
        }
        phone_.Start();
        // At its start, the daemon removes the profile that has the daemon's mark, and keeps the user's profile. The
        // daemon deactivates the user's profile only if NETWORK_CHANGES_FILE says that the daemon activated this
        // profile.
        EXPECT_TRUE(Has(Phone(), "\"profiles\": [\"" + std::string(Air::USERS_HOTSPOT) + "\"]")) << Phone();
        const std::string active = ActiveIs(isNoted ? "" : Air::USERS_HOTSPOT);
        EXPECT_TRUE(isAnswered ? Has(Phone(), active) : Eventually([&] { return Has(Phone(), active); })) << Phone();
        phone_.End();
    }
    EXPECT_EQ(events_.Lines(), ClosedFor("LEFT_OPEN", 3));
    EXPECT_EQ(
        log_.Count("cannot read the network changes; only marked profiles are removed: " + phone_.Folder().string()),
        1U);

    // If the daemon does not start again, NetworkManager removes the profile, because the profile's creator has left
    // the bus.
    {
        const Linux::NetworkManager manager(Linux::Bus::Open(air_.Phone().Address()));
        const auto radios = manager.Radios();
        ASSERT_TRUE(radios);
        ASSERT_TRUE(manager.AddAndActivate(ours, radios.value().front().path, ""));
        EXPECT_TRUE(Has(Phone(), left));
    }
    EXPECT_TRUE(Eventually([&] { return !Has(Phone(), left); }));
}

TEST_F(NetworkManagerWifiTest, ChangeThatCannotBeRecordedIsMadeAndLogged)
{
    std::filesystem::create_directory(phone_.Folder() / Linux::NETWORK_CHANGES_FILE);
    phone_.Start();
    EXPECT_EQ(phone_.Hotspot()->EnableHotspot(ServiceType::DEFAULT), Wifi::WIFI_OK);
    EXPECT_TRUE(log_.Contains(": cannot be written: Is a directory; a crash now would leave changes behind"));
}

TEST_F(NetworkManagerWifiTest, AbilitiesFollowNetworkManagerBusAndRadio)
{
    ShareGarden();
    laptop_.Start();
    EXPECT_TRUE(laptop_.StationPresence().isPresent);
    EXPECT_EQ(laptop_.HotspotPresence(), (Linux::Presence{true, "NetworkManager 1.42.4, wlan1"}));
    const auto isPresent = [&](bool there) {
        return Eventually([&] {
            return laptop_.StationPresence().isPresent == there && laptop_.HotspotPresence().isPresent == there;
        });
    };

    ASSERT_EQ(Join().state, WifiLinkState::CONNECTED);
    Do(air_.Laptop(), R"({"do": "put", "WirelessEnabled": false})");
    EXPECT_TRUE(Eventually([&] { return laptop_.StationPresence().isSwitchedOff; }));
    EXPECT_EQ(laptop_.Hotspot()->EnableHotspot(ServiceType::DEFAULT), Wifi::WIFI_DISABLED);
    EXPECT_EQ(laptop_.Station()->ConnectToDevice({-1, "Garden", "", KEY, ""}), Wifi::WIFI_DISABLED);
    EXPECT_FALSE(laptop_.StationPresence().isBlocked);
    Do(air_.Laptop(), R"({"do": "put", "WirelessHardwareEnabled": false})");
    EXPECT_TRUE(Eventually([&] { return laptop_.StationPresence().isBlocked; }));
    Do(air_.Laptop(), R"({"do": "put", "WirelessEnabled": true, "WirelessHardwareEnabled": true})");

    laptop_.Options().station.searchLimit = WAIT_LIMIT;
    ASSERT_EQ(laptop_.Station()->ConnectToDevice({-1, "Cellar", "", KEY, ""}), Wifi::WIFI_OK);
    Do(air_.Laptop(), R"({"do": "leave_bus"})");
    EXPECT_TRUE(isPresent(false));
    EXPECT_EQ(laptop_.HotspotPresence().reason, "NetworkManager does not run");
    EXPECT_EQ(WaitWhile(WifiLinkState::CONNECTING).reason, "NetworkManager has stopped");
    EXPECT_NE(laptop_.Hotspot()->EnableHotspot(ServiceType::DEFAULT), Wifi::WIFI_OK);
    Do(air_.Laptop(), R"({"do": "join_bus"})");
    EXPECT_TRUE(isPresent(true));
    Do(air_.Laptop(), R"({"do": "capabilities", "bits": 63})");
    EXPECT_TRUE(Eventually([&] { return !laptop_.HotspotPresence().isPresent; }));
    EXPECT_TRUE(laptop_.StationPresence().isPresent);
    EXPECT_EQ(laptop_.HotspotPresence().reason, "NetworkManager 1.42.4, no Wi-Fi device can be an access point");
    EXPECT_EQ(laptop_.Hotspot()->EnableHotspot(ServiceType::DEFAULT), Wifi::WIFI_NOT_SUPPORTED);

    air_.Laptop().End("bus");
    EXPECT_TRUE(isPresent(false));
    const Result<std::string> unheard = laptop_.Bus().GetProperty<std::string>(
        {Linux::NETWORK_MANAGER, Linux::NETWORK_MANAGER_PATH, Linux::NETWORK_MANAGER}, "Version");
    ASSERT_FALSE(unheard);
    EXPECT_EQ(unheard.error().code, ErrorCode::UNAVAILABLE) << unheard.error().message;
    air_.Laptop().StartBus();
    air_.Laptop().Start("NetworkManager", {"/usr/bin/python3", FAKE_NETWORK_MANAGER, air_.Laptop().Address()});
    EXPECT_TRUE(isPresent(true));
}

TEST_F(NetworkManagerWifiTest, CallWithoutUsableAnswerReportsError)
{
    Linux::Bus& bus = air_.Phone().Bus();
    const Linux::BusObject manager{Linux::NETWORK_MANAGER, Linux::NETWORK_MANAGER_PATH, Linux::NETWORK_MANAGER};
    const Linux::BusObject control{"test.Control", "/test", "test.Control"};
    const struct {
        Error error;
        ErrorCode code;
        std::string beginning;
    } cases[] = {
        {bus.Call(control, "Do", milliseconds(20), std::string(R"({"do": "be_busy", "seconds": 0.1})")).error(),
         ErrorCode::TIMED_OUT, "org.freedesktop.DBus.Error.NoReply"},
        {bus.GetProperty<uint32_t>(manager, "Version").error(), ErrorCode::MALFORMED,
         "org.freedesktop.NetworkManager.Version has the type"},
        {bus.Call<bool>(manager, "GetDevices", WAIT_LIMIT).error(), ErrorCode::MALFORMED,
         "GetDevices answered with other types"},
        {bus.Call(manager, "NoSuchMethod", WAIT_LIMIT).error(), ErrorCode::NOT_FOUND,
         "org.freedesktop.DBus.Error.UnknownMethod"},
        {bus.Call({"no.such.service", "/", "no.such"}, "Do", WAIT_LIMIT).error(), ErrorCode::UNAVAILABLE,
         "org.freedesktop.DBus.Error.ServiceUnknown"},
        {bus.Call({"no name", "/", "no.such"}, "Do", WAIT_LIMIT).error(), ErrorCode::INVALID_ARGUMENT,
         "org.freedesktop.DBus.Error.InvalidArgs"},
    };
    for (const auto& [error, code, beginning] : cases) {
        EXPECT_EQ(error.code, code) << error.message;
        EXPECT_TRUE(error.message.starts_with(beginning)) << error.message;
    }
    EXPECT_TRUE(bus.GetProperty<std::string>(manager, "Version"));
}

}  // namespace
}  // namespace Vexo::Tests
