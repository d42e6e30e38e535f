// Commands that work on a state folder, run by a user who may not enter it.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vector>

#include "platform/base/files.h"
#include "platform/trust/account.h"
#include "tests/support/temp_folder.h"
#include "tools/distnetctl/app.h"
#include "tools/distnetctl/output.h"

namespace Vexo::Ctl {
namespace {

constexpr uid_t NOBODY = 65534;

// The exit code and standard error of the command as user nobody. An exception that it lets out ends as a signal: -1.
struct Ended {
    int exitCode = -1;
    std::string said;
};

Ended RunAsNobody(const std::vector<const char*>& words)
{
    testing::internal::CaptureStderr();
    const pid_t child = fork();
    if (child == 0) {
        const bool dropped = setgid(NOBODY) == 0 && setuid(NOBODY) == 0;
        _exit(dropped ? RunApp(static_cast<int>(words.size()), words.data()) : 99);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, testing::internal::GetCapturedStderr()};
}

TEST(ClosedStateTest, EveryCommandSaysWhoMayEnterAndEndsWithOne)
{
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can act for another user";
    }
    const Tests::TempFolder world;
    ASSERT_EQ(chmod(world.Path().c_str(), 0755), 0);
    const std::filesystem::path closed = world.Path() / "phone";
    ASSERT_TRUE(Trust::CreateAccount(closed / "identity", "home", "phone"));
    const std::string request = world.Path() / "request.csr";
    ASSERT_TRUE(WriteFileAtomically(request, Trust::MakeRequest(world.Path() / "new", "new").value(), 0644));
    const char* const file = request.c_str();
    const char* const state = closed.c_str();
    for (const std::vector<const char*>& command :
         std::vector<std::vector<const char*>>{{"account", "show"},
                                               {"account", "create", "home"},
                                               {"account", "request", "/nonexistent/new.csr"},
                                               {"account", "admit", file, "-o", "/nonexistent/new.pem"},
                                               {"account", "install", file},
                                               {"sim", "show"},
                                               {"sim", "set", "screen=off"}}) {
        std::vector<const char*> words{"distnetctl"};
        words.insert(words.end(), command.begin(), command.end());
        words.insert(words.end(), {"--state", state});
        const Ended ended = RunAsNobody(words);
        EXPECT_EQ(ended.exitCode, EXIT_FAILED) << command[1] << ": " << ended.said;
        for (const std::string& part :
             {std::string(state), std::string("Permission denied"), std::string("use sudo")}) {
            EXPECT_NE(ended.said.find(part), std::string::npos) << command[1] << ": " << ended.said;
        }
    }
}

}  // namespace
}  // namespace Vexo::Ctl
