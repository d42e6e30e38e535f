#include "platform/trust/identity.h"

#include <openssl/ec.h>
#include <unistd.h>

#include <array>
#include <future>
#include <map>

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

using Damage = void (*)(const fs::path& file, const fs::path& anothers);

TEST(IdentityTest, DamagedFileIsNamedAndLeftUnchanged)
{
    const Damage open = [](const fs::path& file, const fs::path&) { fs::permissions(file, fs::perms(0755)); };
    const Damage cut = [](const fs::path& file, const fs::path&) { fs::resize_file(file, fs::file_size(file) / 2); };
    const Damage exchange = [](const fs::path& file, const fs::path& anothers) {
        fs::copy_file(anothers, file, fs::copy_options::overwrite_existing);
    };
    const Damage largerKey = [](const fs::path& file, const fs::path&) {
        EXPECT_TRUE(WriteKeyFile(file, PrivateKey(EVP_EC_gen("P-384")).get()));
    };
    const Damage changePrivateKey = [](const fs::path& file, const fs::path&) {
        std::string pem = Read(file);
        char& character = pem[pem.find('\n') + 1 + 52];  // of the bytes 39 to 41 in DER; the private key is 36 to 67
        character = character == 'A' ? 'B' : 'A';
        EXPECT_TRUE(WriteFileAtomically(file, pem, 0600));
    };
    const Damage makeNewer = [](const fs::path& file, const fs::path&) {
        std::string text = Read(file);
        EXPECT_TRUE(WriteFileAtomically(file, text.replace(text.find(":\t1"), 3, ":\t2"), 0600));
    };
    const struct {
        Damage damage;
        const char* file;
        const char* blamed;
        const char* advice;
        bool hasState = true;
    } cases[] = {
        {open, "", "", "chmod 700 "},
        {open, "/device.key", "/device.key", "chmod 600 "},
        {open, "/account.key", "/account.key", "chmod 600 "},
        {largerKey, "/device.key", "/device.key", "another kind than P-256"},
        {changePrivateKey, "/device.key", "/device.key", "does not match its public key"},
        {exchange, "/device.key", "/device.crt", "for another key"},
        {cut, "/device.id", "/device.id", "64 hex"},
        {exchange, "/account.crt", "/device.crt", "not signed by this account"},
        {exchange, "/account.key", "/account.key", "another account"},
        {open, "/link.key", "/link.key", "chmod 600 "},
        {makeNewer, "/link.key", "/link.key", "newer version", false},
        {exchange, "/link.key", "/link.key", "another account", false},
        {open, "/account.state", "/account.state", "chmod 600 "},
    };
    for (const auto& [damage, file, blamed, advice, hasState] : cases) {
        const Devices devices{};
        devices.Create("laptop");
        if (!hasState) {
            devices.ForgetState("laptop");
        }
        devices.Create("other", "elsewhere");
        const std::string folder = devices.Folder("laptop");
        damage(folder + file, devices.Folder("other").string() + file);
        const auto before = Contents(folder);
        const auto loaded = LoadOrCreateIdentity(folder);
        ExpectRefused(loaded, advice);
        EXPECT_EQ(loaded.error().message.find(folder + blamed + ":"), 0u) << loaded.error().message;
        EXPECT_EQ(Contents(folder), before);
    }
}

TEST(IdentityTest, KeyOfAnotherUserIsRefused)
{
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root can give a file away";
    }
    constexpr uid_t OTHER = 65534;
    const Devices devices{};
    devices.Create("laptop");
    for (const char* name : {DEVICE_KEY_FILE, ACCOUNT_KEY_FILE, LINK_KEY_FILE, STATE_FILE}) {
        const std::string file = devices.Folder("laptop") / name;
        ASSERT_EQ(::chown(file.c_str(), OTHER, 0), 0);
        const auto loaded = LoadIdentity(devices.Folder("laptop"));
        ExpectRefused(loaded, file + ": belongs to user 65534");
        ExpectRefused(loaded, "If not: chown 0 " + file);
        ASSERT_EQ(::chown(file.c_str(), 0, 0), 0);
    }
    EXPECT_TRUE(LoadIdentity(devices.Folder("laptop")));
}

TEST(IdentityTest, ConcurrentLoadsCreateOneIdentityForOwnerOnly)
{
    const Devices devices{};
    const fs::path folder = devices.Folder("laptop");
    EXPECT_FALSE(LoadIdentity(folder));
    std::array<std::future<std::string>, 8> made;
    for (auto& ids : made) {
        ids = std::async(std::launch::async, [&folder] {
            const auto identity = LoadOrCreateIdentity(folder);
            return identity ? identity.value().networkId + identity.value().deviceId : identity.error().message;
        });
    }
    const std::string first = made[0].get();
    for (size_t i = 1; i < made.size(); ++i) {
        EXPECT_EQ(made[i].get(), first);
    }
    const Identity identity = devices.Load("laptop");
    EXPECT_EQ(first, identity.networkId + identity.deviceId);
    EXPECT_NE(identity.networkId, identity.deviceId);
    EXPECT_EQ(fs::status(folder).permissions(), fs::perms(0700));
    EXPECT_EQ(fs::status(folder / DEVICE_KEY_FILE).permissions(), fs::perms(0600));
}

}  // namespace
}  // namespace Vexo::Trust::Tests
