// Damages files of an identity and runs the commands that "distnetctl doctor" advises, unchanged and in a shell. Then
// checks that the identity works.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <functional>
#include <regex>

#include "platform/base/files.h"
#include "platform/trust/account.h"
#include "platform/trust/identity_checks.h"
#include "platform/trust/identity_files.h"
#include "platform/trust/openssl_util.h"
#include "platform/trust/state_files.h"
#include "tests/support/temp_folder.h"

namespace Vexo::Trust {
namespace {

namespace fs = std::filesystem;

// The space and the apostrophe in these names test whether the advised commands quote them.
const char* const ACCOUNT = "Anna's home";
const char* const HOLDER = "Anna's laptop";
const char* const MEMBER = "phone";

struct World {
    World()
    {
        EXPECT_TRUE(CreateAccount(Identity(HOLDER), ACCOUNT, HOLDER));
        Enrol();
    }
    fs::path Identity(const std::string& device) const { return folder.Path() / device / "identity"; }
    void Enrol() const
    {
        const auto answer = Admit(Identity(HOLDER), MakeRequest(Identity(MEMBER), MEMBER).value());
        ASSERT_TRUE(answer) << answer.error().message;
        const auto installed = Install(Identity(MEMBER), answer.value());
        EXPECT_TRUE(installed) << (installed ? "" : installed.error().message);
    }
    IdentityChecks Doctor(const std::string& device) const
    {
        return CheckIdentity(Identity(device), std::chrono::system_clock::now());
    }
    // Runs the commands in a shell. Returns the status of std::system(), which is 0 on success.
    int Run(const std::string& commands) const
    {
        const std::string line =
            "cd " + folder.Path().string() + " && PATH=" DISTNET_BIN_DIR ":$PATH && { " + commands + "; } >output 2>&1";
        return std::system(line.c_str());
    }

    const Vexo::Tests::TempFolder folder;
};

// Returns the commands in an advice. The commands start after a colon. They end at a semicolon or at the end of the
// advice.
std::string CommandsOf(const std::string& advice)
{
    std::smatch found;
    return std::regex_search(advice, found, std::regex(": ((mv|distnetctl|chmod) .*?)(?=; |$)")) ? found.str(1) : "";
}

bool TrustEachOther(const World& world)
{
    const auto trusts = [&](const char* one, const char* other) {
        const auto certificate = ReadCertificateFile(world.Identity(other) / DEVICE_CERTIFICATE_FILE);
        const auto anchor = ReadCertificateFile(world.Identity(one) / ACCOUNT_CERTIFICATE_FILE);
        return certificate && anchor && VerifySignedBy(certificate.value().get(), anchor.value().get());
    };
    return trusts(HOLDER, MEMBER) && trusts(MEMBER, HOLDER);
}

const std::pair<const char*, std::function<void(const fs::path&)>> DAMAGES[] = {
    {"cut", [](const fs::path& file) { fs::resize_file(file, fs::file_size(file) / 2); }},
    {"missing", [](const fs::path& file) { fs::remove(file); }},
};

void ExpectAdviceMends(const char* device, const char* file, const std::function<void(const fs::path&)>& damage)
{
    const World world;
    const std::string idBefore = world.Doctor(device).networkId;
    damage(world.Identity(device) / file);
    const IdentityChecks found = world.Doctor(device);
    const std::string& advice = found.identity.good.value_or(true) ? found.account.advice : found.identity.advice;
    const std::string commands = CommandsOf(advice);
    EXPECT_TRUE(commands.empty() || world.Run(commands) == 0) << advice;
    if (fs::exists(world.folder.Path() / "device.csr")) {
        EXPECT_STREQ(device, MEMBER) << advice;
        EXPECT_EQ(world.Run("distnetctl account admit device.csr -o answer.pem --state \"Anna's laptop\" && "
                            "distnetctl account install answer.pem --state phone"),
                  0);
        EXPECT_EQ(fs::status(world.folder.Path() / "answer.pem").permissions(), fs::perms(0600));
    }
    // The daemon calls this function at its start.
    const auto mended = LoadOrCreateIdentity(world.Identity(device));
    ASSERT_TRUE(mended) << advice << mended.error().message;
    EXPECT_TRUE(mended.value().Enrolled()) << advice;
    EXPECT_EQ(mended.value().accountName, ACCOUNT) << advice;
    EXPECT_EQ(mended.value().holdsAccountKey, device == HOLDER);
    EXPECT_EQ(mended.value().networkId == idBefore, std::string(file) != DEVICE_KEY_FILE);
    EXPECT_TRUE(TrustEachOther(world));
}

TEST(IdentityRepairTest, AdviceRepairsEachFileAndKeepsAccount)
{
    for (const char* device : {HOLDER, MEMBER}) {
        for (const char* file : {DEVICE_KEY_FILE, DEVICE_ID_FILE, DEVICE_CERTIFICATE_FILE, ACCOUNT_CERTIFICATE_FILE,
                                 LINK_KEY_FILE, STATE_FILE}) {
            for (const auto& [name, damage] : DAMAGES) {
                SCOPED_TRACE(std::string(device) + " " + file + " " + name);
                ExpectAdviceMends(device, file, damage);
            }
        }
    }
}

TEST(IdentityRepairTest, LostAccountKeyIsReportedAndDeviceWorksWithoutIt)
{
    const World world;
    fs::resize_file(world.Identity(HOLDER) / ACCOUNT_KEY_FILE, 10);
    const std::string advice = world.Doctor(HOLDER).identity.advice;
    EXPECT_NE(advice.find("no device can be admitted"), std::string::npos) << advice;
    EXPECT_EQ(world.Run(CommandsOf(advice)), 0) << advice;
    EXPECT_TRUE(world.Doctor(HOLDER).identity.good.value_or(false));
    EXPECT_TRUE(TrustEachOther(world));
}

TEST(IdentityRepairTest, AdviceRestrictsReadableAccountKeyAndKeepsIt)
{
    const World world;
    chmod((world.Identity(HOLDER) / ACCOUNT_KEY_FILE).c_str(), 0644);
    fs::resize_file(world.Identity(HOLDER) / DEVICE_CERTIFICATE_FILE, 10);
    for (int step = 0; step < 2; ++step) {
        const std::string advice = world.Doctor(HOLDER).identity.advice;
        EXPECT_EQ(world.Run(CommandsOf(advice)), 0) << advice;
    }
    EXPECT_TRUE(LoadIdentity(world.Identity(HOLDER)).value().holdsAccountKey);
    EXPECT_TRUE(TrustEachOther(world));
}

TEST(IdentityRepairTest, AccountKeySignsUnderItsNameOnly)
{
    const World world;
    fs::remove(world.Identity(HOLDER) / DEVICE_CERTIFICATE_FILE);
    const auto made = CreateAccount(world.Identity(HOLDER), "another", HOLDER);
    ASSERT_FALSE(made);
    EXPECT_NE(made.error().message.find(ACCOUNT), std::string::npos) << made.error().message;
    EXPECT_TRUE(CreateAccount(world.Identity(HOLDER), ACCOUNT, HOLDER));
    EXPECT_TRUE(TrustEachOther(world));
}

}  // namespace
}  // namespace Vexo::Trust
