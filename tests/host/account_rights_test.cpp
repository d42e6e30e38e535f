// Tests who may change the account: the rules for the user of the device, for the access policy of a simulated device,
// and for polkit.
#include "host/account_rights.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <future>

#include "platform/access/policy.h"
#include "tests/backends/linux/private_machine.h"
#include "tests/support/log_capture.h"

namespace Vexo::Host {
namespace {

constexpr uid_t OTHER_USER = 65534;
constexpr const char* POLKIT = "org.freedesktop.PolicyKit1";

CallerIdentity CallerOf(uid_t user, pid_t pid = getpid())
{
    return Security::IdentifyCaller({pid, user, user, {}});
}

std::future<bool> Ask(AccountRights& rights, const CallerIdentity& caller)
{
    const auto answer = std::make_shared<std::promise<bool>>();
    const CallerScope scope(caller);
    rights.Check([answer](bool isGranted) { answer->set_value(isGranted); });
    return answer->get_future();
}

TEST(AccountRightsTest, SimulatedDeviceAcceptsItsUserAndNativeCallers)
{
    const Tests::LogCapture log;
    const auto rights = AccountRights::Make(nullptr);
    Security::InstallAccessPolicy(Security::AccessPolicy::RootOnly());
    EXPECT_TRUE(Ask(*rights, CallerOf(0)).get());
    EXPECT_TRUE(Ask(*rights, CallerOf(geteuid())).get());
    EXPECT_FALSE(Ask(*rights, CallerOf(OTHER_USER)).get());
    Security::InstallAccessPolicy(
        Security::AccessPolicy::Parse(R"({"entries": [{"user": "65534", "token_type": "native"}]})", "p").value());
    EXPECT_TRUE(Ask(*rights, CallerOf(OTHER_USER)).get());
    Security::InstallAccessPolicy(
        Security::AccessPolicy::Parse(R"({"entries": [{"user": "65534", "token_type": "application",
            "privilege_level": 3, "permissions": ["vexo.permission.CONNECTIVITY_INTERNAL"]}]})",
                                      "p")
            .value());
    EXPECT_FALSE(Ask(*rights, CallerOf(OTHER_USER)).get()) << "the permission to use the network is not enough";
}

TEST(AccountRightsTest, MachineAsksPolkitAboutOthersWithoutBlockingCaller)
{
    const Tests::LogCapture log;
    Tests::PrivateMachine machine;
    const auto rights = AccountRights::Make(Linux::Bus::Open(machine.Address()));
    EXPECT_FALSE(Ask(*rights, CallerOf(OTHER_USER)).get()) << "no polkit runs";
    machine.StartMock("polkitd", POLKIT);
    const Linux::BusObject mock{POLKIT, "/org/freedesktop/PolicyKit1/Authority", "org.freedesktop.DBus.Mock"};
    EXPECT_FALSE(Ask(*rights, CallerOf(OTHER_USER)).get());
    ASSERT_TRUE(
        machine.Bus().Call(mock, "SetAllowed", Linux::BUS_CALL_LIMIT, std::vector<std::string>{CHANGE_ACCOUNT_ACTION}));
    EXPECT_TRUE(Ask(*rights, CallerOf(OTHER_USER)).get());
    ASSERT_TRUE(machine.Bus().Call(mock, "SimulateHang", Linux::BUS_CALL_LIMIT, true));
    std::future<bool> awaited = Ask(*rights, CallerOf(OTHER_USER));
    EXPECT_TRUE(Ask(*rights, CallerOf(0)).get()) << "root is not asked";
    EXPECT_FALSE(Ask(*rights, CallerOf(OTHER_USER)).get()) << "one question at a time";
    EXPECT_EQ(awaited.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    EXPECT_TRUE(EndToEnd::Eventually(
        [&] { return machine.Bus().Call<bool>(mock, "HaveHangingCalls", Linux::BUS_CALL_LIMIT).value_or(false); }));
    const pid_t program = ::fork();
    if (program == 0) {
        ::pause();
    }
    std::future<bool> ofProgram = Ask(*rights, CallerOf(OTHER_USER - 1, program));
    ::kill(program, SIGKILL);
    ::waitpid(program, nullptr, 0);
    EXPECT_TRUE(EndToEnd::Eventually([&] {
        (void)machine.Bus().Call(mock, "ReleaseHangingCalls", Linux::BUS_CALL_LIMIT);
        return ofProgram.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    }));
    EXPECT_TRUE(awaited.get());
    EXPECT_FALSE(ofProgram.get()) << "the program ended before the answer";
}

}  // namespace
}  // namespace Vexo::Host
