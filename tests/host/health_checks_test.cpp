// Tests what the command doctor reports for each wrong setup of a device. It reports one bad line with advice, and all
// other lines stay good.
#include "host/health_checks.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <functional>

#include "backends/simulated/device_state.h"
#include "platform/ability/ability_ids.h"
#include "platform/base/files.h"
#include "platform/ipc/unix_socket.h"
#include "platform/trust/account.h"
#include "tests/support/fake_ability_manager.h"
#include "tests/support/fake_wifi.h"
#include "tests/support/temp_folder.h"

namespace Vexo::Host {
namespace {

using namespace std::chrono_literals;

// A phone that has no problems and knows one other device.
struct Phone {
    Phone()
    {
        EXPECT_TRUE(Trust::CreateAccount(folder.Path() / "identity", "home", "phone"));
        EXPECT_TRUE(Simulated::SaveDeviceState(folder.Path(), {}));
        facts.configuration.stateDir = folder.Path();
        facts.configuration.ipcSocket = folder.Path() / "ipc.sock";
        socket = std::move(Ipc::ListenOn(facts.configuration.ipcSocket, 0666).value());
        facts.networkId = Trust::LoadIdentity(folder.Path() / "identity").value().networkId;
        facts.serviceLibrary = folder.Path() / Simulated::DEVICE_STATE_FILE;  // any file that can be read
        facts.devices.emplace({SoftBus::Node{"ab", "", "laptop", 0, true, 0}});
        registry.Add<Tests::FakeWifiDevice>(WIFI_DEVICE_SYS_ABILITY_ID);
        registry.Add<Tests::FakeWifiHotspot>(WIFI_HOTSPOT_SYS_ABILITY_ID);
    }
    void Set(const std::string& assignment) { EXPECT_TRUE(Simulated::UpdateDeviceState(folder.Path(), {assignment})); }
    void Policy(const std::string& text)
    {
        facts.configuration.accessPolicy = folder.Path() / "policy.json";
        EXPECT_TRUE(WriteFileAtomically(facts.configuration.accessPolicy, text, 0644));
    }

    const Tests::TempFolder folder;
    Tests::InstalledRegistry registry;
    UniqueFd socket;
    HealthFacts facts;
};

struct Broken {
    const char* line;     // the name of the check that fails; empty: no check fails
    const char* message;  // a part of the message
    const char* advice;
    std::function<void(Phone&)> breakIt;
};

const Broken ROWS[] = {
    {"", "", "", [](Phone&) {}},
    {"identity", "other users", "chmod 600",
     [](Phone& p) { chmod((p.folder.Path() / "identity/device.key").c_str(), 0644); }},
    {"identity", "account.crt: ", "mv ",
     [](Phone& p) { std::filesystem::remove(p.folder.Path() / "identity/account.crt"); }},
    {"identity", "no link key", "account create home",
     [](Phone& p) {
         std::filesystem::remove(p.folder.Path() / "identity/link.key");
         std::filesystem::remove(p.folder.Path() / "identity/account.state");
     }},
    {"identity", "expired on", "account renew --state", [](Phone& p) { p.facts.now += 24h * 4000; }},
    {"identity", "replaced", "systemctl restart", [](Phone& p) { p.facts.networkId = "cd"; }},
    {"account", "could not take it over", "journalctl", [](Phone& p) { p.facts.devices.reset(); }},
    {"clock", "is valid from", "timedatectl", [](Phone& p) { p.facts.now -= 24h * 30; }},
    {"clock", "5 min behind laptop's", "timedatectl", [](Phone& p) { p.facts.devices->front().clockAhead = 5min; }},
    {"policy", "policy.json:1:2: ", "Correct it", [](Phone& p) { p.Policy("{"); }},
    {"daemon", "No such file", "library", [](Phone& p) { p.facts.serviceLibrary = "/nonexistent/x.so"; }},
    {"socket", "mode 0600", "chmod 0666", [](Phone& p) { chmod(p.facts.configuration.ipcSocket.c_str(), 0600); }},
    {"socket", "user 64999", "ipc.socket_mode",
     [](Phone& p) { p.Policy(R"({"entries":[{"user":"64999","token_type":"native"}]})"); }},
    {"peers", "no device", "softbus.peers", [](Phone& p) { p.facts.devices->clear(); }},
    {"peer", "tried LAN 192.0.2.7:1 0 s ago: connection refused; Bluetooth 0 s ago: it answered", "switched on",
     [](Phone& p) {
         SoftBus::Node& laptop = p.facts.devices->front();
         laptop.online = false;
         laptop.tried = {{"tcp", "192.0.2.7:1", p.facts.now, "connection refused"},
                         {"bluetooth", "C0:00:00:00:00:01/129", p.facts.now, ""}};
     }},
    {"peer", "laptop is away", "switched on", [](Phone& p) { p.facts.devices->front().online = false; }},
    {"radio", "switched off", "wifi.enabled=true", [](Phone& p) { p.Set("wifi.enabled=false"); }},
    {"hotspot", "cannot be", "wifi.hotspot_present=true",
     [](Phone& p) { p.registry.manager->RemoveSystemAbility(WIFI_HOTSPOT_SYS_ABILITY_ID); }},
    {"hotspot", "set to fail", "hotspot.enable.code=0", [](Phone& p) { p.Set("faults.hotspot.enable.code=5"); }},
};

TEST(HealthChecks, EachProblemIsReportedOnceWithAdvice)
{
    for (const Broken& row : ROWS) {
        Phone phone;
        row.breakIt(phone);
        std::string wrong;
        for (const QuviewDFX::HealthCheck& check : CheckHealth(phone.facts)) {
            if (!check.good.value_or(true)) {
                wrong += check.name;
                EXPECT_NE(check.message.find(row.message), std::string::npos) << check.message;
                EXPECT_NE(check.advice.find(row.advice), std::string::npos) << check.advice;
            }
        }
        EXPECT_EQ(wrong, row.line) << row.message;
    }
}

}  // namespace
}  // namespace Vexo::Host
