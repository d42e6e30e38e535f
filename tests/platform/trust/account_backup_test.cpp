#include "platform/trust/account_backup.h"

#include "platform/trust/membership.h"
#include "tests/platform/trust/trust_fixture.h"

namespace Vexo::Trust::Tests {
namespace {

namespace fs = std::filesystem;

constexpr const char* PASSPHRASE = "example passphrase";

class AccountBackupTest : public testing::Test {
protected:
    void SetUp() override
    {
        devices.Enrol("laptop");
        devices.Enrol("phone");
        ASSERT_TRUE(BackUpAccount(laptop, file, PASSPHRASE));
    }

    Devices devices;
    const fs::path laptop = devices.Folder("laptop");
    const fs::path phone = devices.Folder("phone");
    const fs::path desktop = devices.Folder("desktop");
    const fs::path file = devices.Folder("") / "home.backup";
};

TEST_F(AccountBackupTest, RestoredBackupSignsOnlyAfterNewerStateArrived)
{
    EXPECT_TRUE(LastBackup(laptop));
    EXPECT_FALSE(LastBackup(phone));
    EXPECT_EQ(fs::status(file).permissions(), fs::perms(0600));
    // After the backup was made, the account gets the member "tablet" and loses the member "phone".
    devices.Enrol("tablet");
    const std::string lost = devices.Load("phone").networkId;
    ASSERT_TRUE(RemoveMember(laptop, lost, true));
    ASSERT_TRUE(AdoptState(devices.Folder("tablet"), devices.Load("laptop").state->Bytes()));
    const std::string newest = devices.Load("tablet").state->Bytes();

    ASSERT_TRUE(RestoreAccount(desktop, file, PASSPHRASE, "laptop", false));
    EXPECT_TRUE(IsRestored(desktop));
    const auto early = RemoveMember(desktop, lost, true);
    ASSERT_FALSE(early);
    EXPECT_EQ(early.error().code, ErrorCode::UNAVAILABLE);
    EXPECT_FALSE(LeaveAccount(desktop));

    ASSERT_TRUE(AdoptState(desktop, newest).value());
    ASSERT_TRUE(CompleteRestore(desktop));
    EXPECT_FALSE(IsRestored(desktop));
    const Identity restored = devices.Load("desktop");
    EXPECT_EQ(restored.state->State().holder, restored.networkId);
    EXPECT_EQ(restored.state->State().FindMember(restored.networkId)->name, "laptop-2");
    EXPECT_NE(restored.state->State().FindRemoved(lost), nullptr);
    EXPECT_EQ(restored.state->State().members.size(), 3U);
    ASSERT_TRUE(AdoptState(devices.Folder("tablet"), restored.state->Bytes()).value());
    // The restored device is now the holder (the device that can sign states). The laptop, the previous holder, can no
    // longer admit a device.
    ASSERT_TRUE(AdoptState(laptop, restored.state->Bytes()).value());
    ExpectRefused(Admit(laptop, MakeRequest(devices.Folder("watch"), "watch").value()), "\"laptop-2\"");
    EXPECT_TRUE(Install(devices.Folder("watch"), devices.Answer("watch", "desktop")));
    EXPECT_TRUE(RemoveMember(desktop, devices.Load("laptop").networkId, true));
}

TEST_F(AccountBackupTest, WrongPassphraseAndDamageHaveDifferentErrors)
{
    using enum ErrorCode;
    const std::string good = Read(file);
    std::string flipped = good;
    flipped[good.size() / 2] = static_cast<char>(flipped[good.size() / 2] ^ 1);
    const struct {
        std::string bytes;
        const char* passphrase;
        ErrorCode code;
    } rows[] = {
        {good, "another passphrase", UNTRUSTED},
        {good, "", UNTRUSTED},
        {flipped, PASSPHRASE, MALFORMED},
        {good.substr(0, good.size() - 1), PASSPHRASE, MALFORMED},
        {good + "x", PASSPHRASE, MALFORMED},
        {"", PASSPHRASE, MALFORMED},
        {Read(laptop / ACCOUNT_CERTIFICATE_FILE), PASSPHRASE, MALFORMED},
    };
    for (const auto& [bytes, passphrase, code] : rows) {
        ASSERT_TRUE(WriteFileAtomically(file, bytes, 0600));
        const auto restored = RestoreAccount(desktop, file, passphrase, "desktop", false);
        ASSERT_FALSE(restored);
        EXPECT_EQ(restored.error().code, code) << restored.error().message;
        EXPECT_FALSE(fs::exists(desktop / ACCOUNT_KEY_FILE));
    }
    EXPECT_EQ(BackUpAccount(laptop, file, PASSPHRASE).error().code, ALREADY_EXISTS);
    EXPECT_EQ(BackUpAccount(laptop, file.string() + "2", "seven77").error().code, INVALID_ARGUMENT);
    EXPECT_EQ(BackUpAccount(phone, file.string() + "2", PASSPHRASE).error().code, NOT_FOUND);
    ASSERT_TRUE(WriteFileAtomically(file, good, 0600));
    devices.Create("other", "elsewhere");
    EXPECT_EQ(RestoreAccount(devices.Folder("other"), file, PASSPHRASE, "x", false).error().code, ALREADY_EXISTS);
    EXPECT_EQ(RestoreAccount(laptop, file, PASSPHRASE, "x", false).error().code, ALREADY_EXISTS);
}

TEST_F(AccountBackupTest, OnlyRemainingDeviceSignsAtOnce)
{
    ASSERT_TRUE(RestoreAccount(desktop, file, PASSPHRASE, "desktop", false));
    // The second restore declares that the device is the only device left, so the device need not meet another member.
    ASSERT_TRUE(RestoreAccount(desktop, file, PASSPHRASE, "desktop", true));
    EXPECT_FALSE(IsRestored(desktop));
    EXPECT_TRUE(RemoveMember(desktop, devices.Load("laptop").networkId, true));
    // The laptop holds the account's key but has lost its state. A restore can also declare that the laptop is the only
    // device left.
    fs::remove(laptop / STATE_FILE);
    ASSERT_FALSE(RemoveMember(laptop, devices.Load("phone").networkId, true));
    ASSERT_TRUE(RestoreAccount(laptop, file, PASSPHRASE, "laptop", true));
    EXPECT_TRUE(RemoveMember(laptop, devices.Load("phone").networkId, true));
}

TEST_F(AccountBackupTest, MemberThatRestoresKeyKeepsItsNewerState)
{
    ASSERT_TRUE(RenameMember(laptop, devices.Load("phone").networkId, "telephone"));
    ASSERT_TRUE(AdoptState(phone, devices.Load("laptop").state->Bytes()).value());
    ASSERT_TRUE(RestoreAccount(phone, file, PASSPHRASE, "x", false));
    ASSERT_TRUE(CompleteRestore(phone));
    const Identity restored = devices.Load("phone");
    EXPECT_EQ(restored.state->State().FindMember(restored.networkId)->name, "telephone");
    EXPECT_EQ(restored.state->State().holder, restored.networkId);
}

TEST_F(AccountBackupTest, OpenSslDecryptsBackup)
{
    const fs::path output = devices.Folder("") / "output";
    const std::string command = "openssl pkcs12 -info -noenc -in " + file.string() + " -passin 'pass:" + PASSPHRASE +
                                "' >" + output.string() + " 2>&1";
    ASSERT_EQ(std::system(command.c_str()), 0) << Read(output);
    const std::string text = Read(output);
    for (const char* const part : {"BEGIN PRIVATE KEY", "BEGIN CERTIFICATE", "PBKDF2, AES-256-CBC, Iteration 600000",
                                   "PRF hmacWithSHA256", "MAC: sha256, Iteration 1200000"}) {
        EXPECT_NE(text.find(part), std::string::npos) << part;
    }
    EXPECT_EQ(text.find("Iteration 2048"), std::string::npos);
}

}  // namespace
}  // namespace Vexo::Trust::Tests
