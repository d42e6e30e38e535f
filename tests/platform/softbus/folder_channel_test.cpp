#include "platform/softbus/discovery/folder_channel.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <numeric>
#include <tuple>

#include "platform/base/hex.h"
#include "platform/trust/announcement_tokens.h"
#include "tests/support/log_capture.h"
#include "tests/support/manual_timers.h"
#include "tests/support/temp_folder.h"
#include "tests/support/trail.h"

namespace Vexo::SoftBus {
namespace {

using namespace std::chrono_literals;
using Vexo::Tests::Eventually;
namespace fs = std::filesystem;

// Tokens of this test. A token has 8 characters. Tokens of the account start with "our". The next two characters, such
// as "-L", name the device.
const std::string LAPTOP = "our-L-01", LAPTOP_NEXT = "our-L-02", PHONE = "our-P-01", PHONE_NEXT = "our-P-02";

std::string Hex(const std::string& token)
{
    return HexOf({reinterpret_cast<const uint8_t*>(token.data()), token.size()});
}

std::string FileOf(const std::string& token, const std::string& members, const std::string& version = "2")
{
    return R"({"version": )" + version + R"(, "token": ")" + Hex(token) + "\"" + members + "}";
}

class FolderChannelTest : public testing::Test {
protected:
    struct Device {
        bool Hears(const std::vector<std::string>& expected)
        {
            return Eventually([&] { return heard.WaitFor(0) == expected; });
        }

        Vexo::Tests::Trail<std::string> heard;  // texts such as "our-P-01 127.0.0.1:2", or "gone"
        std::unique_ptr<FolderChannel> channel;
    };

    std::unique_ptr<Device> StartDevice(const std::string& token, const std::string& address)
    {
        auto device = std::make_unique<Device>();
        const auto beginsAs = [&](size_t count) {
            return [start = token.substr(0, count)](const std::string& of, WallTime = {}) {
                return of.starts_with(start);
            };
        };
        device->channel = std::make_unique<FolderChannel>(shared, PeerAddress{"tcp", address}, beginsAs(5), clock);
        const auto heard = [raw = device.get()](const std::string&, const std::optional<Announcement>& announcement) {
            raw->heard.Add(!announcement ? "gone" : announcement->token + " " + announcement->addresses.at(0).address);
        };
        EXPECT_TRUE(device->channel->Start(token, beginsAs(3), heard));
        return device;
    }

    void Write(const std::string& name, const std::string& text) const { std::ofstream(shared / name) << text; }
    // Reads the names of the announcement files. Returns the tokens in these names, each followed by a space.
    std::string Announced() const
    {
        std::set<std::string> tokens;
        for (const auto& entry : fs::directory_iterator(shared)) {
            tokens.insert(BytesOfHex(entry.path().filename().string().substr(0, 2 * Trust::TOKEN_BYTES)) + " ");
        }
        return std::accumulate(tokens.begin(), tokens.end(), std::string());
    }

    Vexo::Tests::TempFolder folder;
    Vexo::Tests::ManualTimers clock;
    const fs::path shared = folder.Path() / "made" / "shared";
    const std::string where = R"(, "transport": "tcp", "address": "127.0.0.1:9")";
};

TEST_F(FolderChannelTest, DevicesHearEachOtherUntilWithdrawalRemovesFiles)
{
    const auto laptop = StartDevice(LAPTOP, "127.0.0.1:1");
    const auto phone = StartDevice(PHONE, "127.0.0.1:2");
    EXPECT_TRUE(phone->Hears({"our-L-01 127.0.0.1:1"}));
    EXPECT_TRUE(laptop->Hears({"our-P-01 127.0.0.1:2"}));
    phone->channel->Announce(PHONE_NEXT);
    EXPECT_TRUE(laptop->Hears({"our-P-01 127.0.0.1:2", "our-P-02 127.0.0.1:2", "gone"})) << "never without one";
    for (int i = 0; i < 20; ++i) {
        phone->channel->Announce(PHONE);
    }
    phone->channel->Withdraw();
    EXPECT_EQ(Announced(), "our-L-01 ") << "nor one that was still to be written";
    phone->channel->Announce(PHONE);
    phone->channel.reset();
    EXPECT_EQ(Announced(), "our-L-01 ");
    EXPECT_EQ(phone->heard.WaitFor(0).size(), 1u) << "nothing of its own files";
}

TEST_F(FolderChannelTest, OnlyValidFilesOfAccountAreReported)
{
    const auto name = [](const std::string& token) { return Hex(token) + "-01234567.json"; };
    const std::tuple<std::string, std::string, std::string> ignored[] = {
        {"foreign1", "{", ""},  // This file is ignored without a log line.
        {"our-tool", std::string(4097, ' '), "larger than"},
        {"our-cut1", FileOf("our-cut1", where).substr(0, 60), "the JSON ends too early"},
        {"our-vers", FileOf("our-vers", where, "3"), "version: 3 was made by a newer version"},
        {"our-othr", FileOf("our-some", where), "another token than its name"},
        {"our-shrt", FileOf("our-shr", where), "is no token"},
        {"our-noad", FileOf("our-noad", R"(, "transport": "tcp")"), "address: missing"},
    };
    fs::create_directories(shared);
    for (const auto& [token, text, why] : ignored) {
        Write(name(token), text);
    }
    for (const char* ending : {".json", "-0123456g.json", "-01234567.text"}) {
        Write(Hex("our-form") + ending, FileOf("our-form", where));
    }
    Write("target", FileOf("our-link", where));
    fs::create_symlink("target", shared / name("our-link"));
    ASSERT_EQ(::mkfifo((shared / name("our-fifo")).c_str(), 0600),
              0);  // An open of the FIFO would block.
    Write(name("our-good"), FileOf("our-good", where + R"(, "later": {"x": 1}, "a b": 2)"));

    const Vexo::Tests::LogCapture log;
    const auto laptop = StartDevice(LAPTOP, "127.0.0.1:1");
    EXPECT_TRUE(laptop->Hears({"our-good 127.0.0.1:9"}));
    for (const auto& [token, text, why] : ignored) {
        EXPECT_EQ(log.Count(name(token)), why.empty() ? 0u : 1u) << token;
        EXPECT_TRUE(log.Contains(why)) << why << '\n' << log.Text();
    }
    EXPECT_EQ(log.Count(name("our-link")) + log.Count(name("our-fifo")), 2u) << log.Text();
    EXPECT_EQ(log.Count("ignored"), std::size(ignored) + 1) << "the others have none";

    Write(name("our-good"), "damaged now");
    EXPECT_TRUE(laptop->Hears({"our-good 127.0.0.1:9", "gone"}));
}

TEST_F(FolderChannelTest, ExpiredFilesAreNotReportedAndOwnOnesRemovedAtStart)
{
    fs::create_directories(shared);
    const auto place = [&](const std::string& token, std::chrono::minutes age) {
        const std::string name = Hex(token) + "-01234567.json";
        Write(name, FileOf(token, where));
        fs::last_write_time(shared / name, std::chrono::file_clock::from_sys(clock.WallNow() - age));
    };
    place("our-dead", 31min);
    place("our-late", 29min);
    place("our-L-00", 29min);
    const auto laptop = StartDevice(LAPTOP, "127.0.0.1:1");
    EXPECT_EQ(Announced(), "our-L-01 our-dead our-late ");
    EXPECT_TRUE(laptop->Hears({"our-late 127.0.0.1:9"}));
    clock.Advance(2min);
    laptop->channel->Announce("");
    EXPECT_TRUE(laptop->Hears({"our-late 127.0.0.1:9", "gone"}));
    EXPECT_EQ(Announced(), "our-L-01 our-dead our-late ") << "no file without a token";
    laptop->channel->Announce(LAPTOP_NEXT);
    EXPECT_TRUE(Eventually([&] { return Announced() == "our-L-02 our-dead our-late "; }));
}

TEST_F(FolderChannelTest, RecreatedFolderGetsNewestAnnouncementOnly)
{
    const auto laptop = StartDevice(LAPTOP, "127.0.0.1:1");
    const auto phone = StartDevice(PHONE, "127.0.0.1:2");
    EXPECT_TRUE(laptop->Hears({"our-P-01 127.0.0.1:2"}));
    fs::rename(shared, folder.Path() / "elsewhere");
    EXPECT_TRUE(laptop->Hears({"our-P-01 127.0.0.1:2", "gone"}));
    laptop->channel->Announce(LAPTOP_NEXT);
    fs::create_directory(shared);
    EXPECT_TRUE(Eventually([&] { return Announced() == "our-L-02 our-P-01 "; })) << "made again";
    fs::remove_all(shared);
    fs::rename(folder.Path() / "elsewhere", shared);
    EXPECT_TRUE(Eventually([&] { return Announced() == "our-L-02 our-P-01 "; })) << "moved back";
    laptop->channel->Withdraw();
    EXPECT_TRUE(Eventually([&] { return Announced() == "our-P-01 "; }));
}

}  // namespace
}  // namespace Vexo::SoftBus
