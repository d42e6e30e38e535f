#include "platform/trust/identity.h"

#include <openssl/ec.h>

#include <map>
#include <set>
#include <thread>
#include <vector>

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

enum class Do { OPEN_TO_OTHERS, REMOVE, CUT, TAKE_ANOTHERS, TAKE_LARGER_KEY };

void Damage(Do what, const fs::path& file, const fs::path& anothers)
{
    switch (what) {
        case Do::OPEN_TO_OTHERS:
            fs::permissions(file, fs::perms(0755));
            break;
        case Do::REMOVE:
            fs::remove(file);
            break;
        case Do::CUT:
            fs::resize_file(file, fs::file_size(file) / 2);
            break;
        case Do::TAKE_ANOTHERS:
            fs::copy_file(anothers, file, fs::copy_options::overwrite_existing);
            break;
        case Do::TAKE_LARGER_KEY:
            EXPECT_TRUE(WriteKeyFile(file, PrivateKey(EVP_EC_gen("P-384")).get()));
            break;
    }
}

TEST(IdentityTest, ThatIsDamagedIsRefusedByNameAndLeftAsItIs)
{
    const struct {
        Do what;
        const char* file;
        const char* blamed;
        const char* advice;
    } cases[] = {
        {Do::OPEN_TO_OTHERS, "", "", "chmod 700 "},
        {Do::OPEN_TO_OTHERS, "/device.key", "/device.key", "chmod 600 "},
        {Do::OPEN_TO_OTHERS, "/account.key", "/account.key", "chmod 600 "},
        {Do::REMOVE, "/device.key", "/device.key", "restore it"},
        {Do::CUT, "/device.key", "/device.key", "restore it"},
        {Do::TAKE_LARGER_KEY, "/device.key", "/device.key", "another kind than P-256"},
        {Do::TAKE_ANOTHERS, "/device.key", "/device.crt", "for another key"},
        {Do::CUT, "/device.id", "/device.id", "64 hex"},
        {Do::CUT, "/device.crt", "/device.crt", "restore it"},
        {Do::REMOVE, "/account.crt", "/account.crt", "restore it"},
        {Do::TAKE_ANOTHERS, "/account.crt", "/device.crt", "not signed by this account"},
        {Do::TAKE_ANOTHERS, "/account.key", "/account.key", "another account"},
    };
    int number = 0;
    for (const auto& [what, file, blamed, advice] : cases) {
        const Devices devices{};
        devices.Create("laptop");
        devices.Create("other", "elsewhere");
        const std::string folder = devices.Folder("laptop");
        Damage(what, folder + file, devices.Folder("other").string() + file);
        const auto before = Contents(folder);

        const auto loaded = LoadOrCreateIdentity(folder);

        ASSERT_FALSE(loaded) << "case " << number;
        EXPECT_EQ(loaded.Message().find(folder + blamed + ":"), 0u) << loaded.Message();
        EXPECT_NE(loaded.Message().find(advice), std::string::npos) << loaded.Message();
        EXPECT_EQ(Contents(folder), before);
        ++number;
    }
}

TEST(IdentityTest, IsMadeOnceForAllWhoAskAtOnceAndReadableByItsOwnerOnly)
{
    const Devices devices{};
    const fs::path folder = devices.Folder("laptop");
    EXPECT_FALSE(LoadIdentity(folder));
    std::vector<std::string> made(8);
    {
        std::vector<std::jthread> threads;
        threads.reserve(made.size());
        for (std::string& ids : made) {
            threads.emplace_back([&ids, &folder] {
                const auto identity = LoadOrCreateIdentity(folder);
                ids = identity ? identity.Value().networkId + identity.Value().deviceId : identity.Message();
            });
        }
    }
    const Identity identity = devices.Load("laptop");
    EXPECT_EQ(std::set<std::string>(made.begin(), made.end()),
              std::set<std::string>{identity.networkId + identity.deviceId});
    EXPECT_NE(identity.networkId, identity.deviceId);
    EXPECT_EQ(fs::status(folder).permissions(), fs::perms(0700));
    EXPECT_EQ(fs::status(folder / DEVICE_KEY_FILE).permissions(), fs::perms(0600));
}

}  // namespace
}  // namespace Vexo::Trust::Tests
