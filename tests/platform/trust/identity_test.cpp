#include "platform/trust/identity.h"

#include <openssl/ec.h>
#include <openssl/evp.h>

#include <functional>
#include <map>
#include <set>
#include <thread>

#include "tests/platform/trust/trust_fixture.h"

namespace Vexo::Trust::Tests {
namespace {

namespace fs = std::filesystem;

std::map<std::string, std::string> Contents(const fs::path& folder)
{
    std::map<std::string, std::string> contents;
    for (const auto& entry : fs::directory_iterator(folder)) {
        contents[entry.path().filename()] = Read(entry.path());
    }
    return contents;
}

struct Damage {
    const char* name;
    std::function<void(const fs::path& folder, const fs::path& other)> make;
    std::string file;    // below the folder, that the error must name
    const char* advice;  // that it must contain
};

void PrintTo(const Damage& damage, std::ostream* out)
{
    *out << damage.name;
}

void Replace(const fs::path& folder, const char* file, const std::string& text)
{
    Write(folder / file, text);
}

void CopyFrom(const fs::path& other, const fs::path& folder, const char* file)
{
    Write(folder / file, Read(other / file));
}

std::string In(const char* file)
{
    return std::string("/") + file;
}

const std::vector<Damage>& Damages()
{
    static const std::vector<Damage> damages{
        {"FolderOpenToOthers", [](auto& folder, auto&) { fs::permissions(folder, fs::perms(0750)); }, "", "chmod 700 "},
        {"KeyReadableByGroup", [](auto& folder, auto&) { fs::permissions(folder / DEVICE_KEY_FILE, fs::perms(0640)); },
         In(DEVICE_KEY_FILE), "chmod 600 "},
        {"AccountKeyReadableByOthers",
         [](auto& folder, auto&) { fs::permissions(folder / ACCOUNT_KEY_FILE, fs::perms(0604)); }, In(ACCOUNT_KEY_FILE),
         "chmod 600 "},
        {"KeyTruncated",
         [](auto& folder, auto&) { Replace(folder, DEVICE_KEY_FILE, Read(folder / DEVICE_KEY_FILE).substr(0, 100)); },
         In(DEVICE_KEY_FILE), "restore it"},
        {"KeyEmpty", [](auto& folder, auto&) { Replace(folder, DEVICE_KEY_FILE, ""); }, In(DEVICE_KEY_FILE),
         "restore it"},
        {"KeyOfAnotherCurve",
         [](auto& folder, auto&) { Replace(folder, DEVICE_KEY_FILE, KeyToPem(PrivateKey(EVP_EC_gen("P-384")).get())); },
         In(DEVICE_KEY_FILE), "another kind than P-256"},
        {"KeyOfAnotherKind",
         [](auto& folder, auto&) {
             Replace(folder, DEVICE_KEY_FILE,
                     KeyToPem(PrivateKey(EVP_PKEY_Q_keygen(nullptr, nullptr, "ED25519")).get()));
         },
         In(DEVICE_KEY_FILE), "another kind than P-256"},
        {"KeyIsALink",
         [](auto& folder, auto& other) {
             fs::remove(folder / DEVICE_KEY_FILE);
             fs::create_symlink(other / DEVICE_KEY_FILE, folder / DEVICE_KEY_FILE);
         },
         In(DEVICE_KEY_FILE), "not a plain file"},
        {"KeyMissing", [](auto& folder, auto&) { fs::remove(folder / DEVICE_KEY_FILE); }, In(DEVICE_KEY_FILE),
         "restore it"},
        {"KeyOfAnotherDevice", [](auto& folder, auto& other) { CopyFrom(other, folder, DEVICE_KEY_FILE); },
         In(DEVICE_CERTIFICATE_FILE), "for another key"},
        {"IdTooShort", [](auto& folder, auto&) { Replace(folder, DEVICE_ID_FILE, "0123\n"); }, In(DEVICE_ID_FILE),
         "64 hex"},
        {"CertificateDamaged",
         [](auto& folder, auto&) {
             std::string text = Read(folder / DEVICE_CERTIFICATE_FILE);
             text.replace(text.size() / 2, 8, "????????");
             Replace(folder, DEVICE_CERTIFICATE_FILE, text);
         },
         In(DEVICE_CERTIFICATE_FILE), "restore it"},
        {"TwoCertificates",
         [](auto& folder, auto&) {
             Replace(folder, DEVICE_CERTIFICATE_FILE,
                     Read(folder / DEVICE_CERTIFICATE_FILE) + Read(folder / ACCOUNT_CERTIFICATE_FILE));
         },
         In(DEVICE_CERTIFICATE_FILE), "not one certificate"},
        {"AccountCertificateMissing", [](auto& folder, auto&) { fs::remove(folder / ACCOUNT_CERTIFICATE_FILE); },
         In(ACCOUNT_CERTIFICATE_FILE), "restore it"},
        {"CertificateOfAnotherAccount",
         [](auto& folder, auto& other) { CopyFrom(other, folder, ACCOUNT_CERTIFICATE_FILE); },
         In(DEVICE_CERTIFICATE_FILE), "not signed by this account"},
        {"KeyOfAnotherAccount", [](auto& folder, auto& other) { CopyFrom(other, folder, ACCOUNT_KEY_FILE); },
         In(ACCOUNT_KEY_FILE), "another account"},
    };
    return damages;
}

class DamagedIdentityTest : public testing::TestWithParam<Damage> {};

TEST_P(DamagedIdentityTest, IsRefusedByNameAndLeftAsItIs)
{
    const Devices devices;
    devices.Create("laptop");
    devices.Create("other", "elsewhere");
    const fs::path folder = devices.Folder("laptop");
    GetParam().make(folder, devices.Folder("other"));
    const auto before = Contents(folder);

    const auto loaded = LoadOrCreateIdentity(folder);

    ASSERT_FALSE(loaded);
    EXPECT_NE(loaded.Message().find(folder.string() + GetParam().file + ":"), std::string::npos) << loaded.Message();
    EXPECT_NE(loaded.Message().find(GetParam().advice), std::string::npos) << loaded.Message();
    EXPECT_EQ(Contents(folder), before);
}

INSTANTIATE_TEST_SUITE_P(All, DamagedIdentityTest, testing::ValuesIn(Damages()),
                         [](const auto& damage) { return damage.param.name; });

TEST(IdentityTest, IsMadeOnceAndStaysTheSame)
{
    const Devices devices;
    const fs::path folder = devices.Folder("laptop");
    EXPECT_FALSE(LoadIdentity(folder));

    const auto made = LoadOrCreateIdentity(folder);
    ASSERT_TRUE(made) << made.Message();
    const Identity again = devices.Load("laptop");

    EXPECT_EQ(again.networkId, made.Value().networkId);
    EXPECT_EQ(again.deviceId, made.Value().deviceId);
    EXPECT_EQ(again.networkId.size(), 64u);
    EXPECT_NE(again.networkId, again.deviceId);
    EXPECT_FALSE(again.Enrolled());
    EXPECT_EQ(fs::status(folder).permissions(), fs::perms(0700));
    EXPECT_EQ(fs::status(folder / DEVICE_KEY_FILE).permissions(), fs::perms(0600));
}

TEST(IdentityTest, IsTheSameForAllWhoMakeItAtOnce)
{
    const Devices devices;
    std::vector<std::string> made(8);
    {
        std::vector<std::jthread> threads;
        for (std::string& ids : made) {
            threads.emplace_back([&ids, &devices] {
                const auto identity = LoadOrCreateIdentity(devices.Folder("laptop"));
                ids = identity ? identity.Value().networkId + identity.Value().deviceId : identity.Message();
            });
        }
    }
    EXPECT_EQ(std::set<std::string>(made.begin(), made.end()).size(), 1u) << made.front() << "\n" << made.back();
}

}  // namespace
}  // namespace Vexo::Trust::Tests
