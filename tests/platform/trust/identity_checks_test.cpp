#include "platform/trust/identity_checks.h"

#include <functional>

#include "platform/trust/account_backup.h"
#include "platform/trust/membership.h"
#include "tests/platform/trust/trust_fixture.h"

namespace Vexo::Trust::Tests {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

constexpr const char* PASSPHRASE = "example passphrase";

struct World : Devices {
    World()
    {
        Enrol("laptop");
        Enrol("phone");
    }
    fs::path Backup() const { return Folder("") / "home.backup"; }
    void BackUp() const { EXPECT_TRUE(BackUpAccount(Folder("laptop"), Backup(), PASSPHRASE)); }
    void Damage(const char* device, const char* file) const { fs::resize_file(Folder(device) / file, 10); }

    WallTime now = Clock::System().WallNow();
};

struct Row {
    const char* name;
    const char* device;
    const char* line;  // the check that reports the fault: "account" or "identity"
    bool isGood;
    const char* message;
    const char* advice;
    std::function<void(World&)> happen;
};

const Row ROWS[] = {
    {"no backup", "laptop", "identity", true, "has no backup", "account backup FILE", [](World&) {}},
    {"member", "phone", "identity", true, "valid until", "", [](World&) {}},
    {"last year", "laptop", "identity", true, "within a year", "account renew",
     [](World& world) { world.now += ACCOUNT_VALIDITY - 24h * 300; }},
    {"last month of a member", "phone", "identity", true, "renew the account on the device that holds its key", "",
     [](World& world) { world.now += ACCOUNT_VALIDITY - 24h * 20; }},
    {"expired", "laptop", "identity", false, "expired on", "account renew",
     [](World& world) { world.now += ACCOUNT_VALIDITY + 24h; }},
    {"expired member", "phone", "identity", false, "expired on", "account request",
     [](World& world) { world.now += ACCOUNT_VALIDITY + 24h; }},
    {"damaged state", "phone", "account", false, "account.state) is damaged", "Nothing to do",
     [](World& world) { world.Damage("phone", STATE_FILE); }},
    {"lost state", "phone", "account", false, "account.state) is missing", "Nothing to do",
     [](World& world) { fs::remove(world.Folder("phone") / STATE_FILE); }},
    {"holder's damaged state", "laptop", "account", false, "is damaged", "left: mv ",
     [](World& world) { world.Damage("laptop", STATE_FILE); }},
    {"holder's damaged state with a backup", "laptop", "account", false, "is damaged", "account restore FILE --alone",
     [](World& world) {
         world.BackUp();
         world.Damage("laptop", STATE_FILE);
     }},
    {"damaged key with a backup", "laptop", "identity", false, "account.key", "&& distnetctl account restore FILE",
     [](World& world) {
         world.BackUp();
         world.Damage("laptop", ACCOUNT_KEY_FILE);
     }},
    {"lost state and link key with a backup", "laptop", "identity", false, "no link key", "account restore FILE",
     [](World& world) {
         world.BackUp();
         fs::remove(world.Folder("laptop") / STATE_FILE);
         fs::remove(world.Folder("laptop") / LINK_KEY_FILE);
     }},
    {"older version's account", "phone", "account", true, "\"home\"", "",
     [](World& world) { world.ForgetState("phone"); }},
    {"restored", "desktop", "account", false, "has met no other member", "account restore FILE --alone",
     [](World& world) {
         world.BackUp();
         EXPECT_TRUE(RestoreAccount(world.Folder("desktop"), world.Backup(), PASSPHRASE, "desktop", false));
     }},
    {"removed", "phone", "account", false, "removed from the account \"home\" on 20", "account leave",
     [](World& world) {
         const auto removed = RemoveMember(world.Folder("laptop"), world.Load("phone").networkId, true);
         EXPECT_TRUE(AdoptState(world.Folder("phone"), removed.value().state->Bytes()));
     }},
};

TEST(IdentityChecksTest, EachFaultIsReportedWithOneStep)
{
    for (const Row& row : ROWS) {
        SCOPED_TRACE(row.name);
        World world;
        row.happen(world);
        const IdentityChecks checks = CheckIdentity(world.Folder(row.device), world.now);
        const auto& check = std::string(row.line) == "account" ? checks.account : checks.identity;
        EXPECT_EQ(check.good, row.isGood);
        EXPECT_NE(check.message.find(row.message), std::string::npos) << check.message;
        EXPECT_NE(check.advice.find(row.advice), std::string::npos) << check.advice;
        EXPECT_EQ(check.advice.empty(), std::string(row.advice).empty()) << check.advice;
        // The advice must not tell the user to move an account key that can be read.
        const bool isUsable = ReadKeyFile(world.Folder(row.device) / ACCOUNT_KEY_FILE).has_value();
        EXPECT_TRUE(!isUsable || check.advice.find("account.key") == std::string::npos) << check.advice;
    }
}

TEST(IdentityChecksTest, DamagedAccountKeyIsRestoredFromBackup)
{
    const World world;
    const fs::path laptop = world.Folder("laptop");
    world.BackUp();
    world.Damage("laptop", ACCOUNT_KEY_FILE);
    fs::rename(laptop / ACCOUNT_KEY_FILE, laptop / "account.key.old");
    ASSERT_TRUE(RestoreAccount(laptop, world.Backup(), PASSPHRASE, "laptop", true));
    EXPECT_TRUE(RemoveMember(laptop, world.Load("phone").networkId, true));
    EXPECT_TRUE(CheckIdentity(laptop, world.now).account.good.value_or(false));
}

}  // namespace
}  // namespace Vexo::Trust::Tests
